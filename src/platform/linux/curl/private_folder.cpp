#include "platform/linux/curl/private_folder.h"

#include "platform/linux/curl/partial_file.h"
#include "platform/linux/curl/read_error.h"

#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>

namespace tsasync::platform::reader {

namespace {

constexpr std::int64_t kKeptFor = 7 * 24 * 3600;  // seconds since the last write
constexpr const char* kNameInCache = "QMASYN10";
constexpr const char* kNameBeside = ".QMASYN10";

// The nearest ancestor of `path`, or itself, that exists.
std::string ExistingPart(std::string path, struct stat& found) {
    while (stat(path.c_str(), &found) != 0 && path.size() > 1) {
        const std::size_t slash =
            path.find_last_not_of('/') == path.npos ? 0 : path.rfind('/', path.find_last_not_of('/'));
        path.resize(slash == path.npos ? 0 : slash);
        if (path.empty()) path.push_back('/');
    }
    return path;
}

std::string Parent(const std::string& path) {
    const std::size_t end = path.find_last_not_of('/');
    const std::size_t slash = end == path.npos ? path.npos : path.rfind('/', end);
    return slash == path.npos || slash == 0 ? "/" : path.substr(0, slash);
}

// Nothing when they can't be listed, as when the process has too many files open.
std::optional<std::vector<std::string>> Entries(int folder) {
    DIR* list = fdopendir(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (list == nullptr) return std::nullopt;
    std::vector<std::string> names;
    // readdir is safe on a stream that no other thread uses. NOLINTNEXTLINE(concurrency-mt-unsafe)
    while (const dirent* entry = readdir(list)) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    closedir(list);
    return names;
}

std::string RandomName() {
    gchar* uuid = g_uuid_string_random();
    std::string name;
    for (const char c : std::string_view(uuid)) {
        if (c != '-') name.push_back(c);
    }
    g_free(uuid);
    return name;
}

}  // namespace

std::vector<std::string> PrivateFolder::PathsFor(const std::string& near) {
    const std::string cache = g_get_user_cache_dir();
    const std::string inCache = cache + "/" + kNameInCache;
    if (near.empty() || near.front() != '/') return {inCache};
    std::error_code error;
    std::string folder = std::filesystem::weakly_canonical(near, error).string();
    if (error) return {inCache};
    struct stat wanted {};
    struct stat there {};
    const std::string existing = ExistingPart(folder, wanted);
    ExistingPart(cache, there);
    const bool cacheIsNear = wanted.st_dev == there.st_dev;
    const std::string beside = existing == folder ? Parent(folder) : existing;
    if (stat(beside.c_str(), &there) != 0 || there.st_dev != wanted.st_dev || there.st_uid != geteuid())
        return {inCache};
    const std::string ours = beside + "/" + kNameBeside;
    return cacheIsNear ? std::vector{inCache, ours} : std::vector{ours, inCache};
}

std::variant<std::shared_ptr<PrivateFolder>, ReadFailure> PrivateFolder::Open(const std::string& path) {
    // Until our session lies inside, another process that ends may remove the folder as an empty one. Where
    // that happens while it is made GLib takes it for something else than a folder.
    int error = ENOENT;
    for (int attempt = 0; (error == ENOENT || error == ENOTDIR) && attempt < 100; ++attempt) {
        const std::shared_ptr<PrivateFolder> folder(new PrivateFolder(path));
        error = folder->Enter();
        if (error != 0) continue;
        folder->Sweep();
        return folder;
    }
    return FileFailure(error, path);
}

// 0 or the system's error number.
int PrivateFolder::Enter() {
    if (g_mkdir_with_parents(m_path.c_str(), 0700) != 0) return errno;
    m_folder = FileHandle(open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat found {};
    if (!m_folder || fstat(m_folder.Get(), &found) != 0) return errno;
    if (found.st_uid != geteuid()) return EPERM;
    if ((found.st_mode & 0777) != 0700 && fchmod(m_folder.Get(), 0700) != 0) return errno;
    return StartSession();
}

int PrivateFolder::StartSession() {
    // Somebody else's sweep may take the new folder for an abandoned one before it is locked: then another.
    for (int attempt = 0; attempt < 10; ++attempt) {
        m_session = RandomName();
        if (mkdirat(m_folder.Get(), m_session.c_str(), 0700) != 0) return errno;
        const int error = LockSession();
        if (error == 0 && StillThere()) return 0;
        if (error == 0 || error == EWOULDBLOCK || error == ENOENT) continue;
        m_sessionFolder.Close();
        unlinkat(m_folder.Get(), m_session.c_str(), AT_REMOVEDIR);
        return error;
    }
    return EBUSY;
}

// 0 or the system's error number.
int PrivateFolder::LockSession() {
    m_sessionFolder =
        FileHandle(openat(m_folder.Get(), m_session.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return m_sessionFolder && flock(m_sessionFolder.Get(), LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
}

bool PrivateFolder::StillThere() const {
    struct stat found {};
    return fstat(m_sessionFolder.Get(), &found) == 0 && found.st_nlink > 0;
}

PrivateFolder::~PrivateFolder() {
    if (!m_sessionFolder) return;
    SweepSessions();  // whose data was used up meanwhile
    // Both fail where something is left inside, as they should.
    if (unlinkat(m_folder.Get(), m_session.c_str(), AT_REMOVEDIR) == 0) rmdir(m_path.c_str());
}

void PrivateFolder::Sweep() const {
    for (const std::string& name : Entries(m_folder.Get()).value_or(std::vector<std::string>())) {
        if (IsMetadataName(name)) SweepMetadata(name);
    }
    SweepSessions();
}

// Removes a partial file that is too old, with its metadata; likewise metadata that leads to none.
void PrivateFolder::SweepMetadata(const std::string& name) const {
    // Locked only to be removed: a reader that finds it locked reads everything for itself.
    if (LeadsToData(LoadMetadata(m_folder.Get(), name))) return;
    MetadataFile file = MetadataFile::Hold(m_folder.Get(), name, false);
    if (!file) return;  // in use
    const auto meta = file.Load();
    if (LeadsToData(meta)) return;
    if (meta) unlinkat(m_folder.Get(), meta->data.c_str(), 0);
    file.Remove();
}

// To data that is not too old.
bool PrivateFolder::LeadsToData(const std::optional<PartialMeta>& meta) const {
    struct stat found {};
    return meta && fstatat(m_folder.Get(), meta->data.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 &&
           std::time(nullptr) - found.st_mtime < kKeptFor;
}

// Removes what processes that live no longer have left and no metadata leads to.
void PrivateFolder::SweepSessions() const {
    auto wanted = WantedData();
    if (!wanted) return;
    for (const std::string& name : Entries(m_folder.Get()).value_or(std::vector<std::string>())) {
        if (IsMetadataName(name) || name == m_session) continue;
        const FileHandle session(
            openat(m_folder.Get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!session || flock(session.Get(), LOCK_EX | LOCK_NB) != 0) continue;
        const auto left = Entries(session.Get());
        const std::string inSession = name + "/";
        const auto isWanted = [&](const std::string& data) { return wanted->contains(inSession + data); };
        if (!left || (!left->empty() && std::all_of(left->begin(), left->end(), isWanted))) continue;
        // Once more under the lock: from here on nobody makes new data here.
        wanted = WantedData();
        if (!wanted) return;
        for (const std::string& data : *left) {
            if (!isWanted(data)) unlinkat(session.Get(), data.c_str(), 0);
        }
        unlinkat(m_folder.Get(), name.c_str(), AT_REMOVEDIR);
    }
}

// All data files that metadata leads to; nothing when too many files are open to tell.
std::optional<std::set<std::string>> PrivateFolder::WantedData() const {
    const auto entries = Entries(m_folder.Get());
    if (!entries) return std::nullopt;
    std::set<std::string> wanted;
    for (const std::string& entry : *entries) {
        if (!IsMetadataName(entry)) continue;
        errno = 0;
        const auto meta = LoadMetadata(m_folder.Get(), entry);
        if (!meta && (errno == EMFILE || errno == ENFILE)) return std::nullopt;
        if (meta) wanted.insert(meta->data);
    }
    return wanted;
}

}  // namespace tsasync::platform::reader
