#include "platform/linux/curl/partial_file.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::string_view kSuffix = ".part";
constexpr std::size_t kMaxMetadata = 64 * 1024;
constexpr std::int64_t kRoom = 8192;  // two blocks, for the metadata and its entry in the folder

std::optional<PartialMeta> ReadMetadata(int file) {
    std::string text(kMaxMetadata, '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    if (count <= 0) return std::nullopt;
    return ParsePartialMeta(std::string_view(text).substr(0, static_cast<std::size_t>(count)));
}

bool IsThere(const FinishedFile& file) {
    return faccessat(file.folder->Descriptor(), file.meta.data.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

// Another user may be shown other content.
std::string NameOf(const SourceUrl& source) {
    return source.NamesUser() ? source.text + "\n" + source.user + "\n" + source.password : source.text;
}

bool Remember(const FinishedFile& file) {
    auto metadata = MetadataFile::Hold(file.folder->Descriptor(), MetadataName(file.meta.source), true);
    return metadata && metadata.Store(file.meta);
}

}  // namespace

std::string MetadataName(const std::string& source) { return source.substr(0, 32).append(kSuffix); }

bool IsMetadataName(std::string_view name) { return name.ends_with(kSuffix); }

std::optional<PartialMeta> LoadMetadata(int folder, const std::string& name) {
    const FileHandle file(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    return file ? ReadMetadata(file.Get()) : std::nullopt;
}

MetadataFile MetadataFile::Hold(int folder, const std::string& name, bool create) {
    // The file may be removed by its last holder between opening and locking: then once more from the start.
    for (int attempt = 0; attempt < 10; ++attempt) {
        MetadataFile held;
        held.m_folder = folder;
        held.m_name = name;
        const int flags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | (create ? O_CREAT : 0);
        held.m_file = FileHandle(openat(folder, name.c_str(), flags, 0600));
        if (!held || flock(held.m_file.Get(), LOCK_EX | LOCK_NB) != 0) break;
        struct stat found {};
        if (fstat(held.m_file.Get(), &found) == 0 && found.st_nlink > 0) return held;
    }
    return {};
}

std::optional<PartialMeta> MetadataFile::Load() const { return ReadMetadata(m_file.Get()); }

bool MetadataFile::Store(const PartialMeta& meta) {
    const std::string text = FormatPartialMeta(meta);
    // In one write over what is there: at no moment is there less than one of the two.
    const auto size = static_cast<ssize_t>(text.size());
    return pwrite(m_file.Get(), text.data(), text.size(), 0) == size && ftruncate(m_file.Get(), size) == 0;
}

void MetadataFile::Remove() {
    unlinkat(m_folder, m_name.c_str(), 0);
    m_file.Close();
}

PartialFile::PartialFile(std::shared_ptr<PrivateFolder> folder, const SourceUrl& source)
    : m_folder(std::move(folder)), m_source(HashOf(NameOf(source))) {}

PartialFile::~PartialFile() {
    // Where closing fails nobody knows what of the data is there.
    if (!m_kept || m_data.Close() != 0) StartOver();
}

void PartialFile::FindEarlier() {
    auto metadata = MetadataFile::Hold(m_folder->Descriptor(), MetadataName(m_source), false);
    if (!metadata) return;
    m_metadata = std::move(metadata);
    m_earlier = m_metadata.Load();
    if (m_earlier) m_dataName = m_earlier->data;
    struct stat found {};
    if (m_earlier && m_earlier->source == m_source && !m_earlier->validator.empty()) {
        m_data =
            FileHandle(openat(m_folder->Descriptor(), m_dataName.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
        if (m_data && fstat(m_data.Get(), &found) == 0 && S_ISREG(found.st_mode))
            m_size = lseek(m_data.Get(), 0, SEEK_END);
    }
    m_kept = m_size > 0 && (!m_earlier->total || m_size <= *m_earlier->total) &&
             (!m_earlier->whole || m_size == m_earlier->total) && DropLastUnlessChecked();
    if (!m_kept) StartOver();
}

// Of data that is all there but was never found to be right the last byte is read again: whatever the server
// says with it decides about the whole.
bool PartialFile::DropLastUnlessChecked() {
    if (m_earlier->whole || m_size != m_earlier->total) return true;
    return ftruncate(m_data.Get(), --m_size) == 0 && lseek(m_data.Get(), m_size, SEEK_SET) == m_size &&
           m_size > 0;
}

void PartialFile::Follow(const SourceUrl& source) {
    LetGo();
    m_source = HashOf(NameOf(source));
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
    const ssize_t found = m_data ? pread(m_data.Get(), bytes.data(), count, 0) : 0;
    bytes.resize(found > 0 ? static_cast<std::size_t>(found) : 0);
    return bytes;
}

int PartialFile::Create() {
    // The folder keeps others out; once the file has left it, the user's own mask decides.
    m_dataName = m_folder->NewDataName();
    m_data = FileHandle(
        openat(m_folder->Descriptor(), m_dataName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    return m_data ? 0 : errno;
}

int PartialFile::Write(const char* bytes, std::size_t count) {
    if (!m_data) {
        if (const int error = Create()) return error;
    }
    while (count > 0) {
        const ssize_t written = write(m_data.Get(), bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        bytes += written;
        count -= static_cast<std::size_t>(written);
        m_size += written;
    }
    return 0;
}

void PartialFile::StartOver() {
    // The metadata goes first: at no moment does it speak of other data than its own.
    if (m_metadata) m_metadata.Remove();
    if (!m_dataName.empty()) unlinkat(m_folder->Descriptor(), m_dataName.c_str(), 0);
    LetGo();
}

void PartialFile::Keep(const std::string& validator, const std::string& mediaType,
                       std::optional<std::int64_t> total) {
    if (!m_data || m_kept) return;
    if (!m_metadata) m_metadata = MetadataFile::Hold(m_folder->Descriptor(), MetadataName(m_source), true);
    if (!m_metadata) return;
    if (const auto other = m_metadata.Load()) {
        // Another reader's leavings, which this read found locked when it began. The larger ones of a version
        // win, of two versions the newer.
        struct stat found {};
        if (other->validator == validator &&
            fstatat(m_folder->Descriptor(), other->data.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 &&
            found.st_size > m_size) {
            m_metadata = {};
            return;
        }
        unlinkat(m_folder->Descriptor(), other->data.c_str(), 0);
    }
    m_kept = m_metadata.Store({m_source, m_dataName, validator, mediaType, total, false});
    if (!m_kept) m_metadata.Remove();
}

bool PartialFile::Shorten() {
    if (m_size <= kRoom) return false;
    m_size -= kRoom;
    return ftruncate(m_data.Get(), m_size) == 0 && lseek(m_data.Get(), m_size, SEEK_SET) == m_size;
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
    if (renameat(m_folder->Descriptor(), m_dataName.c_str(), m_folder->Descriptor(), own.c_str()) != 0)
        return errno;
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
    unlinkat(folder->Descriptor(), meta.data.c_str(), 0);
}

}  // namespace tsasync::platform::reader
