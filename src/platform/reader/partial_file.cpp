#include "platform/reader/partial_file.h"

#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::string_view kSuffix = ".part";
constexpr std::size_t kMaxMetadata = 64 * 1024;
constexpr std::int64_t kRoom = 8192;  // two blocks, for the metadata and its entry in the folder

int ReadMetadata(const OwnFile& file, std::optional<PartialMeta>& meta) {
    std::string text(kMaxMetadata, '\0');
    const int error = file.ReadAt(0, text);
    if (error == 0) meta = ParsePartialMeta(text);
    return error;
}

bool IsThere(const FinishedFile& file) { return file.folder->Files().Find(file.meta.data).has_value(); }

bool Remember(const FinishedFile& file) {
    auto metadata = MetadataFile::Hold(file.folder->Files(), MetadataName(file.meta.source), true);
    return metadata && metadata.Store(file.meta);
}

}  // namespace

std::string MetadataName(const std::string& source) { return source.substr(0, 32).append(kSuffix); }

bool IsMetadataName(std::string_view name) { return name.ends_with(kSuffix); }

int LoadMetadata(const OwnFolder& folder, const std::string& name, std::optional<PartialMeta>& meta) {
    OwnFile file;
    const int error = folder.OpenFile(name, FileUse::Look, file);
    return error != 0 ? error : ReadMetadata(file, meta);
}

MetadataFile MetadataFile::Hold(const OwnFolder& folder, const std::string& name, bool create) {
    MetadataFile held;
    held.m_folder = &folder;
    held.m_name = name;
    folder.OpenFile(name, create ? FileUse::CreateAndHold : FileUse::Hold, held.m_file);
    return held;
}

std::optional<PartialMeta> MetadataFile::Load() const {
    std::optional<PartialMeta> meta;
    ReadMetadata(m_file, meta);
    return meta;
}

bool MetadataFile::Store(const PartialMeta& meta) {
    const std::string text = FormatPartialMeta(meta);
    // In one write over what is there: at no moment is there less than one of the two.
    return m_file.WriteAt(0, text) == 0 && m_file.Resize(static_cast<std::int64_t>(text.size())) == 0;
}

void MetadataFile::Remove() {
    m_folder->Remove(m_name);
    m_file.Close();
}

PartialFile::PartialFile(std::shared_ptr<PrivateFolder> folder, std::string source)
    : m_folder(std::move(folder)), m_source(std::move(source)) {}

PartialFile::~PartialFile() {
    // Where closing fails nobody knows what of the data is there.
    if (!m_kept || m_data.Close() != 0) StartOver();
}

void PartialFile::FindEarlier() {
    auto metadata = MetadataFile::Hold(m_folder->Files(), MetadataName(m_source), false);
    if (!metadata) return;
    m_metadata = std::move(metadata);
    m_earlier = m_metadata.Load();
    if (m_earlier) m_dataName = m_earlier->data;
    if (m_earlier && m_earlier->source == m_source && !m_earlier->validator.empty()) {
        m_folder->Files().OpenFile(m_dataName, FileUse::Change, m_data);
        if (m_data) m_size = m_data.Size();
    }
    m_kept = m_size > 0 && (!m_earlier->total || m_size <= *m_earlier->total) &&
             (!m_earlier->whole || m_size == m_earlier->total) && DropLastUnlessChecked();
    if (!m_kept) StartOver();
}

// Of data that is all there but was never found to be right the last byte is read again: whatever the server
// says with it decides about the whole.
bool PartialFile::DropLastUnlessChecked() {
    if (m_earlier->whole || m_size != m_earlier->total) return true;
    return m_data.Resize(--m_size) == 0 && m_size > 0;
}

void PartialFile::Follow(std::string source) {
    LetGo();
    m_source = std::move(source);
}

void PartialFile::LetGo() {
    m_data.Close();
    m_dataName.clear();
    m_metadata = {};
    m_earlier.reset();
    m_size = 0;
    m_kept = false;
}

std::string PartialFile::Beginning(std::size_t count) const {
    std::string bytes(count, '\0');
    if (!m_data || m_data.ReadAt(0, bytes) != 0) bytes.clear();
    return bytes;
}

int PartialFile::Create() {
    m_dataName = m_folder->NewDataName();
    return m_folder->Files().OpenFile(m_dataName, FileUse::Create, m_data);
}

int PartialFile::Write(std::string_view bytes) {
    if (!m_data) {
        if (const int error = Create()) return error;
    }
    const int error = m_data.WriteAt(m_size, bytes);
    m_size = error != 0 ? m_data.Size() : m_size + static_cast<std::int64_t>(bytes.size());
    return error;
}

void PartialFile::StartOver() {
    // The metadata goes first: at no moment does it speak of other data than its own.
    if (m_metadata) m_metadata.Remove();
    if (!m_dataName.empty()) m_folder->Files().Remove(m_dataName);
    LetGo();
}

void PartialFile::Keep(const std::string& validator, const std::string& mediaType,
                       std::optional<std::int64_t> total) {
    if (!m_data || m_kept) return;
    if (!m_metadata) m_metadata = MetadataFile::Hold(m_folder->Files(), MetadataName(m_source), true);
    if (!m_metadata) return;
    if (const auto other = m_metadata.Load()) {
        // Another reader's leavings, which this read found locked when it began. The larger ones of a version
        // win, of two versions the newer.
        const auto found = m_folder->Files().Find(other->data);
        if (other->validator == validator && found && found->size > m_size) {
            m_metadata = {};
            return;
        }
        m_folder->Files().Remove(other->data);
    }
    m_kept = m_metadata.Store({m_source, m_dataName, validator, mediaType, total, false});
    if (!m_kept) m_metadata.Remove();
}

bool PartialFile::Shorten() {
    if (m_size <= kRoom) return false;
    m_size -= kRoom;
    return m_data.Resize(m_size) == 0;
}

std::variant<FinishedFile, int> PartialFile::Finish(const std::string& validator,
                                                    const std::string& mediaType, bool hold) {
    if (!m_data) {
        if (const int error = Create()) return error;  // a file without content
    }
    const bool wasKept = std::exchange(m_kept, false);
    if (const int error = m_data.Close()) return error;
    FinishedFile finished{m_folder, {m_source, m_dataName, validator, mediaType, m_size, true}, {}};
    if (hold && wasKept && m_metadata.Store(finished.meta)) {
        finished.metadata = std::move(m_metadata);
    } else {
        if (m_metadata) m_metadata.Remove();
        if (const int error = MoveIntoOwnSession()) return error;
        finished.meta.data = m_dataName;
    }
    m_kept = true;  // by the receiver
    return finished;
}

// Out of the session of a process that is gone, where the next sweep removes what no metadata names.
int PartialFile::MoveIntoOwnSession() {
    if (m_folder->IsOwn(m_dataName)) return 0;
    const std::string own = m_folder->NewDataName();
    if (const int error = m_folder->Files().Rename(m_dataName, own)) return error;
    m_dataName = own;
    return 0;
}

void FinishedFile::Delivered() {
    if (!IsThere(*this)) {
        if (metadata) metadata.Remove();
    } else if (!metadata) {
        Remember(*this);
    }
}

void FinishedFile::Dropped() {
    if (!IsThere(*this)) return Delivered();
    if (metadata || (!meta.validator.empty() && Remember(*this))) return;
    folder->Files().Remove(meta.data);
}

}  // namespace tsasync::platform::reader
