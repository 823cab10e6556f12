#include "platform/reader/own_files.h"

#include "platform/linux/files/file_handle.h"

#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace tsasync::platform::reader {

namespace {

constexpr const char* kNameInCache = "QMASYN10";
constexpr const char* kNameBeside = ".QMASYN10";

int Descriptor(std::intptr_t native) { return static_cast<int>(native); }

int ErrorUnless(bool done) { return done ? 0 : errno; }

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

bool IsLinked(int descriptor) {
    struct stat found {};
    return fstat(descriptor, &found) == 0 && found.st_nlink > 0;
}

int FlagsFor(FileUse use) {
    switch (use) {
        case FileUse::Look:
            return O_RDONLY;
        case FileUse::Create:
            return O_RDWR | O_CREAT | O_EXCL;
        case FileUse::CreateAndHold:
            return O_RDWR | O_CREAT;
        default:
            return O_RDWR;
    }
}

}  // namespace

bool IsGone(int error) { return error == ENOENT || error == ENOTDIR; }

std::int64_t OwnFile::Size() const {
    struct stat found {};
    return fstat(Descriptor(m_native), &found) == 0 ? found.st_size : 0;
}

int OwnFile::ReadAt(std::int64_t offset, std::string& bytes) const {
    const ssize_t count = pread(Descriptor(m_native), bytes.data(), bytes.size(), offset);
    const int error = ErrorUnless(count >= 0);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return error;
}

int OwnFile::WriteAt(std::int64_t offset, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = pwrite(Descriptor(m_native), bytes.data(), bytes.size(), offset);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        offset += written;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

int OwnFile::Resize(std::int64_t size) { return ErrorUnless(ftruncate(Descriptor(m_native), size) == 0); }

int OwnFile::Close() { return FileHandle(Descriptor(std::exchange(m_native, kNone))).Close(); }

int OwnFolder::Open(const std::string& path) {
    // While another process removes the folder GLib takes it for something else than a folder.
    if (g_mkdir_with_parents(path.c_str(), 0700) != 0) return errno;
    FileHandle folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat found {};
    if (!folder || fstat(folder.Get(), &found) != 0) return errno;
    if (found.st_uid != geteuid()) return EPERM;
    if ((found.st_mode & 0777) != 0700 && fchmod(folder.Get(), 0700) != 0) return errno;
    m_path = path;
    m_native = folder.Release();
    return 0;
}

int OwnFolder::OpenAndLock(const OwnFolder& parent, const std::string& name) {
    FileHandle folder(
        openat(Descriptor(parent.m_native), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder || flock(folder.Get(), LOCK_EX | LOCK_NB) != 0) return errno;
    // Its last holder may have removed it between opening and locking.
    if (!IsLinked(folder.Get())) return ENOENT;
    m_path = parent.PathOf(name);
    m_native = folder.Release();
    return 0;
}

void OwnFolder::Close() { FileHandle(Descriptor(std::exchange(m_native, kNone))).Close(); }

bool OwnFolder::IsThere() const { return IsLinked(Descriptor(m_native)); }

std::string OwnFolder::PathOf(const std::string& name) const { return m_path + "/" + name; }

std::optional<std::vector<std::string>> OwnFolder::Names() const {
    DIR* list = fdopendir(openat(Descriptor(m_native), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (list == nullptr) return std::nullopt;
    std::vector<std::string> names;
    // readdir is safe on a stream that no other thread uses. NOLINTNEXTLINE(concurrency-mt-unsafe)
    while (const dirent* entry = readdir(list)) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    closedir(list);
    return names;
}

std::optional<FileFacts> OwnFolder::Find(const std::string& name) const {
    struct stat found {};
    if (fstatat(Descriptor(m_native), name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
    return FileFacts{found.st_size, found.st_mtime};
}

int OwnFolder::OpenFile(const std::string& name, FileUse use, OwnFile& file) const {
    const bool lock = use == FileUse::Hold || use == FileUse::CreateAndHold;
    // The folder keeps others out; once the data has left it, the user's own mask decides.
    const mode_t mode = use == FileUse::Create ? 0666 : 0600;
    // What is to be locked may be removed by its last holder between opening and locking: then once more.
    for (int attempt = 0; attempt < 10; ++attempt) {
        FileHandle opened(openat(Descriptor(m_native), name.c_str(),
                                 FlagsFor(use) | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode));
        if (!opened || (lock && flock(opened.Get(), LOCK_EX | LOCK_NB) != 0)) return errno;
        struct stat found {};
        if (fstat(opened.Get(), &found) != 0) return errno;
        if (!S_ISREG(found.st_mode)) return EINVAL;
        if (lock && found.st_nlink == 0) continue;
        file = OwnFile(opened.Release());
        return 0;
    }
    return EBUSY;
}

int OwnFolder::Remove(const std::string& name) const {
    return ErrorUnless(unlinkat(Descriptor(m_native), name.c_str(), 0) == 0);
}

int OwnFolder::Rename(const std::string& from, const std::string& to) const {
    const int folder = Descriptor(m_native);
    return ErrorUnless(renameat(folder, from.c_str(), folder, to.c_str()) == 0);
}

int OwnFolder::MakeFolder(const std::string& name) const {
    return ErrorUnless(mkdirat(Descriptor(m_native), name.c_str(), 0700) == 0);
}

int OwnFolder::RemoveFolder(const std::string& name) const {
    return ErrorUnless(unlinkat(Descriptor(m_native), name.c_str(), AT_REMOVEDIR) == 0);
}

void OwnFolder::RemoveItself() {
    rmdir(m_path.c_str());
    Close();
}

// $XDG_CACHE_HOME/QMASYN10 when that is on the same volume; .QMASYN10 beside `near` when the folder there is
// the user's own and on the same volume; the former whatever its volume.
std::vector<std::string> PrivateFolderPaths(const std::string& near) {
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

}  // namespace tsasync::platform::reader
