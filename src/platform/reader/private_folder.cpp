#include "platform/reader/private_folder.h"

#include "platform/reader/partial_file.h"

#include <algorithm>
#include <ctime>
#include <random>
#include <vector>

namespace tsasync::platform::reader {

namespace {

constexpr std::int64_t kKeptFor = 7 * 24 * 3600;  // seconds since the last write

// 32 letters, by chance.
std::string RandomName() {
    std::random_device chance;
    std::string name;
    while (name.size() < 32) {
        for (unsigned int left = chance(), i = 0; i < 8; ++i, left >>= 4)
            name.push_back(static_cast<char>('a' + (left & 15)));
    }
    return name;
}

}  // namespace

std::variant<std::shared_ptr<PrivateFolder>, int> PrivateFolder::Open(const std::string& path) {
    // Until our session lies inside, another process that ends may remove the folder as an empty one.
    int error = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::shared_ptr<PrivateFolder> folder(new PrivateFolder());
        error = folder->Enter(path);
        if (error == 0) {
            folder->Sweep();
            return folder;
        }
        if (!IsGone(error)) break;
    }
    return error;
}

// 0 or the system's error number.
int PrivateFolder::Enter(const std::string& path) {
    const int error = m_folder.Open(path);
    return error != 0 ? error : StartSession();
}

int PrivateFolder::StartSession() {
    // Somebody else's sweep may take the new folder for an abandoned one before it is locked: then another.
    int error = 0;
    for (int attempt = 0; attempt < 10; ++attempt) {
        m_session = RandomName();
        if (const int refused = m_folder.MakeFolder(m_session)) return refused;
        error = m_sessionFolder.OpenAndLock(m_folder, m_session);
        if (error == 0) return 0;
        m_folder.RemoveFolder(m_session);
    }
    return error;
}

PrivateFolder::~PrivateFolder() {
    if (!m_sessionFolder) return;
    SweepSessions();  // whose data was used up meanwhile
    m_sessionFolder.Close();
    // Both fail where something is left inside, as they should.
    if (m_folder.RemoveFolder(m_session) == 0) m_folder.RemoveItself();
}

void PrivateFolder::Sweep() const {
    for (const std::string& name : m_folder.Names().value_or(std::vector<std::string>())) {
        if (IsMetadataName(name)) SweepMetadata(name);
    }
    SweepSessions();
}

// Removes a partial file that is too old, with its metadata; likewise metadata that leads to none.
void PrivateFolder::SweepMetadata(const std::string& name) const {
    // Locked only to be removed: a reader that finds it locked reads everything for itself.
    std::optional<PartialMeta> meta;
    LoadMetadata(m_folder, name, meta);
    if (LeadsToData(meta)) return;
    MetadataFile file = MetadataFile::Hold(m_folder, name, false);
    if (!file) return;  // in use
    meta = file.Load();
    if (LeadsToData(meta)) return;
    if (meta) m_folder.Remove(meta->data);
    file.Remove();
}

// To data that is not too old.
bool PrivateFolder::LeadsToData(const std::optional<PartialMeta>& meta) const {
    const auto found = meta ? m_folder.Find(meta->data) : std::nullopt;
    return found && std::time(nullptr) - found->lastWrite < kKeptFor;
}

// Removes what processes that live no longer have left and no metadata leads to.
void PrivateFolder::SweepSessions() const {
    auto wanted = WantedData();
    if (!wanted) return;
    for (const std::string& name : m_folder.Names().value_or(std::vector<std::string>())) {
        OwnFolder session;
        if (IsMetadataName(name) || name == m_session || session.OpenAndLock(m_folder, name) != 0) continue;
        const auto left = session.Names();
        const std::string inSession = name + "/";
        const auto isWanted = [&](const std::string& data) { return wanted->contains(inSession + data); };
        if (!left || (!left->empty() && std::all_of(left->begin(), left->end(), isWanted))) continue;
        // Once more under the lock: from here on nobody makes new data here.
        wanted = WantedData();
        if (!wanted) return;
        for (const std::string& data : *left) {
            if (!isWanted(data)) session.Remove(data);
        }
        m_folder.RemoveFolder(name);
    }
}

// All data files that metadata leads to; nothing when that can't be told, as when too many files are open.
std::optional<std::set<std::string>> PrivateFolder::WantedData() const {
    const auto names = m_folder.Names();
    if (!names) return std::nullopt;
    std::set<std::string> wanted;
    for (const std::string& name : *names) {
        if (!IsMetadataName(name)) continue;
        std::optional<PartialMeta> meta;
        const int error = LoadMetadata(m_folder, name, meta);
        if (error != 0 && !IsGone(error)) return std::nullopt;
        if (meta) wanted.insert(meta->data);
    }
    return wanted;
}

std::variant<std::shared_ptr<PrivateFolder>, PrivateFolders::Refusal> PrivateFolders::For(
    const std::string& goal) {
    auto& known = m_folders[goal];
    if (known && known->StillThere()) return known;
    known = nullptr;
    Refusal refusal;
    for (const std::string& path : PrivateFolderPaths(goal)) {
        for (const auto& [other, folder] : m_folders) {
            if (folder && folder->Files().Path() == path && folder->StillThere()) return known = folder;
        }
        auto opened = PrivateFolder::Open(path);
        if (auto* folder = std::get_if<std::shared_ptr<PrivateFolder>>(&opened)) return known = *folder;
        refusal = {std::get<int>(opened), path};
    }
    return refusal;
}

}  // namespace tsasync::platform::reader
