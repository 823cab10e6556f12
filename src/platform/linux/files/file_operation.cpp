#include "platform/file_system.h"
#include "platform/linux/files/file_handle.h"
#include "platform/linux/files/native_path.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

// Steps return 0 or the error number of the system.
namespace tsasync::platform {

namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kFileNotFound = 2;
constexpr std::int32_t kAccessDenied = 5;
constexpr std::int32_t kWriteProtected = 19;
constexpr std::int32_t kNotSupported = 50;
constexpr std::int32_t kNameTooLong = 206;
constexpr std::int32_t kGeneralFailure = 31;

std::int32_t CodeOf(int error) {
    switch (error) {
        case 0:
            return 0;
        case EEXIST:
        case ENOTEMPTY:
            return kOpExists;
        case ENOSPC:
        case EDQUOT:
            return kOpDiskFull;
        case ENOENT:
        case ENOTDIR:
            return kOpUnknownError;
        case EACCES:
        case EPERM:
            return kAccessDenied;
        case EROFS:
            return kWriteProtected;
        case ENAMETOOLONG:
            return kNameTooLong;
        case EOPNOTSUPP:
            return kNotSupported;
        default:
            return kGeneralFailure;
    }
}

enum class Placing { New, OverPlaceholder, Replace };

struct Target {
    fs::path path;
    Placing placing = Placing::New;
};

bool IsFolder(const fs::path& path) {
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0 && S_ISDIR(entry.st_mode);
}

bool IsEmptyFile(const fs::path& path) {
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0 && S_ISREG(entry.st_mode) && entry.st_size == 0;
}

int RenameOver(const fs::path& from, const fs::path& to) {
    return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int RenameToNew(const fs::path& from, const fs::path& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;

    // A file system that can't do that in one step: for a moment the file has both names, or, where it can't
    // have two, an empty entry takes the new one and gives way.
    if (!IsFolder(from)) {
        if (link(from.c_str(), to.c_str()) == 0) {
            if (unlink(from.c_str()) == 0) return 0;
            const int error = errno;
            unlink(to.c_str());
            return error;
        }
        if (errno == EEXIST) return errno;
    }
    if (IsFolder(from)) {
        if (mkdir(to.c_str(), 0777) != 0) return errno;
    } else {
        const FileHandle reserved(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (!reserved) return errno;
    }
    const int error = RenameOver(from, to);
    if (error != 0) std::remove(to.c_str());
    return error;
}

// Within one file system; EXDEV when that is not so.
int Rename(const fs::path& from, const Target& target) {
    switch (target.placing) {
        case Placing::New:
            return RenameToNew(from, target.path);
        case Placing::OverPlaceholder:
            if (!IsEmptyFile(target.path)) return EEXIST;
            if (IsFolder(from)) {  // can't replace a file, but change places with it
                if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, target.path.c_str(), RENAME_EXCHANGE) != 0) {
                    return errno;
                }
                return unlink(from.c_str()) == 0 ? 0 : errno;
            }
            return RenameOver(from, target.path);
        case Placing::Replace:
            return RenameOver(from, target.path);
    }
    return EINVAL;
}

fs::path HiddenNameBeside(const fs::path& path) {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, 0) < 0) return {};
    char name[32];
    std::snprintf(name, sizeof name, ".qmasyn-%016llx", static_cast<unsigned long long>(number));
    return path.parent_path() / name;
}

// As far as the kernel copies by itself, the rest by hand.
int CopyBytes(int from, int to) {
    constexpr std::size_t kAtOnce = std::size_t{1} << 30;
    while (copy_file_range(from, nullptr, to, nullptr, kAtOnce, 0) > 0) {
    }
    std::vector<char> buffer(std::size_t{256} << 10);
    for (;;) {
        const ssize_t got = read(from, buffer.data(), buffer.size());
        if (got == 0) return 0;
        if (got < 0 && errno != EINTR) return errno;
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = write(to, buffer.data() + done, static_cast<std::size_t>(got - done));
            if (put < 0 && errno != EINTR) return errno;
            if (put > 0) done += put;
        }
    }
}

struct Source {
    explicit Source(const fs::path& path) : file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)) {
        if (!file || fstat(file.Get(), &entry) != 0) error = errno;
    }
    FileHandle file;
    struct stat entry {};
    int error = 0;
};

// What a copy can do without: FAT, shares and volumes mounted for all refuse it to those who may write there.
void GiveModeAndTimes(int to, const struct stat& entry) {
    const timespec times[2] = {entry.st_atim, entry.st_mtim};
    static_cast<void>(fchmod(to, entry.st_mode & 0777));
    static_cast<void>(futimens(to, times));
}

// The whole file is on the disk before anyone is told so.
int FillCopy(const Source& from, int to) {
    if (const int error = CopyBytes(from.file.Get(), to)) return error;
    GiveModeAndTimes(to, from.entry);
    return fsync(to) == 0 ? 0 : errno;
}

// Writes a copy that has no name until it is whole and then takes the free name `to`, so that nothing is left
// of it when the process is killed. Gives nothing where the file system can't do that.
std::optional<int> CopyUnnamed(const fs::path& from, const fs::path& to) {
    const Source source(from);
    if (source.error != 0) return source.error;
    const FileHandle unnamed(open(to.parent_path().c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600));
    if (!unnamed) return std::nullopt;
    if (const int error = FillCopy(source, unnamed.Get())) return error;
    const std::string self = "/proc/self/fd/" + std::to_string(unnamed.Get());
    return linkat(AT_FDCWD, self.c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

// The copies below are written under a name that nobody looks at; what is left of one that fails is the
// caller's to remove.
int CopyFileTo(const fs::path& from, const fs::path& to) {
    if (const auto error = CopyUnnamed(from, to)) return *error;
    const Source source(from);
    if (source.error != 0) return source.error;
    const mode_t mode = source.entry.st_mode & 0777;
    const FileHandle named(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    return named ? FillCopy(source, named.Get()) : errno;
}

int CopyEntryTo(const fs::path& from, const fs::path& to);

int CopyFolderTo(const fs::path& from, const fs::path& to) {
    const Source source(from);
    if (source.error != 0) return source.error;
    if (mkdir(to.c_str(), (source.entry.st_mode & 0777) | S_IRWXU) != 0) return errno;
    std::error_code error;
    for (fs::directory_iterator entry(from, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path& path = entry->path();
        if (const int failed = CopyEntryTo(path, to / path.filename())) return failed;
    }
    const FileHandle copy(open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (copy) GiveModeAndTimes(copy.Get(), source.entry);
    return error.value();
}

// Any entry, a folder with all that is in it.
int CopyEntryTo(const fs::path& from, const fs::path& to) {
    std::error_code error;
    switch (fs::symlink_status(from, error).type()) {
        case fs::file_type::regular:
            return CopyFileTo(from, to);
        case fs::file_type::directory:
            return CopyFolderTo(from, to);
        case fs::file_type::symlink:
            fs::copy_symlink(from, to, error);
            return error.value();
        default:
            return error ? error.value() : EOPNOTSUPP;
    }
}

int Remove(const fs::path& path) {
    std::error_code error;
    fs::remove_all(path, error);
    return error.value();
}

int Copy(const fs::path& from, const Target& target) {
    std::error_code ignored;
    if (target.placing == Placing::New && fs::is_regular_file(fs::symlink_status(from, ignored))) {
        if (const auto error = CopyUnnamed(from, target.path)) return *error;
    }
    const fs::path hidden = HiddenNameBeside(target.path);
    if (hidden.empty()) return EIO;
    int error = CopyEntryTo(from, hidden);
    if (error == 0) error = Rename(hidden, target);
    if (error != 0) Remove(hidden);
    return error;
}

// A file that can't be removed is no reason to have it twice; of a folder a part may be gone already, so that
// the copy stays.
int Move(const fs::path& from, const Target& target) {
    int error = Rename(from, target);
    if (error != EXDEV) return error;
    if (access(from.parent_path().empty() ? "." : from.parent_path().c_str(), W_OK) != 0) return errno;
    error = Copy(from, target);
    if (error != 0) return error;
    error = Remove(from);
    if (error != 0 && !IsFolder(from) && target.placing != Placing::Replace) Remove(target.path);
    return error;
}

// The shell's rules: an existing folder takes the entry in; anything else is replaced only when that needs no
// question, since nobody is there to answer it.
Target FindTarget(const FileOp& op, const fs::path& from, fs::path to) {
    if (op.destination == Destination::Free) return {std::move(to), Placing::New};
    if (op.destination == Destination::Placeholder) return {std::move(to), Placing::OverPlaceholder};
    std::error_code error;
    if (fs::is_directory(to, error) && !fs::equivalent(from, to, error)) to /= from.filename();
    const bool mayReplace = (op.flags & kFlagNoConfirmation) != 0;
    return {std::move(to), mayReplace ? Placing::Replace : Placing::New};
}

int Place(const FileOp& op, const fs::path& from, const fs::path& to) {
    if ((op.flags & kFlagNoConfirmMkDir) != 0 && to.has_parent_path()) {
        std::error_code error;
        fs::create_directories(to.parent_path(), error);
        if (error) return error.value();
    }
    const Target target = FindTarget(op, from, to);
    return op.operation == kOpCopy ? Copy(from, target) : Move(from, target);
}

}  // namespace

FileOpResult RunFileOperation(const FileOp& op) {
    const auto from = ToNativePath(op.from);
    if (!from) return {kOpUnknownError, false};
    struct stat entry {};
    if (lstat(from->c_str(), &entry) != 0) return {errno == ENOENT ? kFileNotFound : CodeOf(errno), false};
    if (op.operation == kOpDelete) return {CodeOf(Remove(from->Text())), false};
    const auto to = ToNativePath(op.to);
    if (!to || op.operation < kOpMove || op.operation > kOpRename) return {kOpUnknownError, false};
    return {CodeOf(Place(op, from->Text(), to->Text())), false};
}

}  // namespace tsasync::platform
