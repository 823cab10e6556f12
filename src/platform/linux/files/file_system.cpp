#include "platform/file_system.h"

#include "platform/linux/files/dos_attributes.h"
#include "platform/linux/files/native_path.h"
#include "platform/linux/files/stored_name.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <filesystem>

namespace tsasync::platform {

const char16_t kPathSeparator = u'/';
const bool kPathsHaveDrives = false;

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kUnixEpoch = 25569;  // 1 January 1970 as an automation date
constexpr double kLastDate = 2958466;       // 1 January 10000
constexpr std::uint64_t kBlock = 512;       // the unit of statx's block count
constexpr double kFirstDate = -657435;      // 31 December 99
constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;

double AutomationDate(std::int64_t secondsSinceEpoch) {
    const std::time_t time = secondsSinceEpoch;
    tm parts{};
    if (localtime_r(&time, &parts) == nullptr) return 0;
    const std::int64_t local = secondsSinceEpoch + parts.tm_gmtoff;
    const std::int64_t second = ((local % kSecondsPerDay) + kSecondsPerDay) % kSecondsPerDay;
    const std::int64_t day = (local - second) / kSecondsPerDay + kUnixEpoch;
    const double fraction = static_cast<double>(second) / kSecondsPerDay;
    return day < 0 ? static_cast<double>(day) - fraction : static_cast<double>(day) + fraction;
}

std::optional<std::time_t> TimeOfDate(double date) {
    if (!(date > kFirstDate && date < kLastDate)) return std::nullopt;
    const double day = std::trunc(date);
    const auto second = static_cast<std::int64_t>(std::llround(std::fabs(date - day) * kSecondsPerDay));
    const std::time_t local = (static_cast<std::int64_t>(day) - kUnixEpoch) * kSecondsPerDay + second;
    tm parts{};
    gmtime_r(&local, &parts);
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

// A link that leads nowhere is an entry too: its name is taken.
std::optional<struct statx> Stat(const std::string& path) {
    struct statx found {};
    constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
    if (statx(AT_FDCWD, path.c_str(), 0, kWanted, &found) == 0) return found;
    if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, kWanted, &found) == 0) return found;
    return std::nullopt;
}

std::u16string_view WithoutTrailingSeparators(std::u16string_view path) {
    while (path.size() > 1 && path.back() == kPathSeparator) path.remove_suffix(1);
    return path;
}

std::u16string_view LastComponent(std::u16string_view path) {
    path = WithoutTrailingSeparators(path);
    return path.substr(path.rfind(kPathSeparator) + 1);
}

std::uint32_t AttributesOf(const std::string& path, const struct statx& entry, std::u16string_view name) {
    std::uint32_t attributes = ReadDosAttributes(path).value_or(0);
    if (S_ISDIR(entry.stx_mode)) attributes |= kAttributeDirectory;
    if ((entry.stx_mode & kWriteBits) == 0) attributes |= kAttributeReadOnly;
    if (name.starts_with(u'.') && name != u"." && name != u"..") attributes |= kAttributeHidden;
    if ((entry.stx_attributes & STATX_ATTR_COMPRESSED) != 0) attributes |= kAttributeCompressed;
    return attributes == 0 ? kAttributeNormal : attributes;
}

// Some file systems accept every mode and keep their own.
bool ChangeMode(const NativePath& path, mode_t mode) {
    struct stat entry {};
    return chmod(path.c_str(), mode) == 0 && stat(path.c_str(), &entry) == 0 &&
           ((entry.st_mode & kWriteBits) == 0) == ((mode & kWriteBits) == 0);
}

}  // namespace

std::optional<FindData> FindFirst(std::u16string_view path) {
    const auto native = ToNativePath(path);
    if (!native) return std::nullopt;
    const auto entry = Stat(native->Text());
    if (!entry) return std::nullopt;

    FindData result;
    result.name = StoredName(WithoutTrailingSeparators(path));
    result.size = S_ISDIR(entry->stx_mode) ? 0 : entry->stx_size;
    result.attributes = AttributesOf(native->Text(), *entry, result.name);
    result.lastAccessTime = AutomationDate(entry->stx_atime.tv_sec);
    result.lastWriteTime = AutomationDate(entry->stx_mtime.tv_sec);
    result.creationTime =
        (entry->stx_mask & STATX_BTIME) != 0 ? AutomationDate(entry->stx_btime.tv_sec) : result.lastWriteTime;
    return result;
}

std::u16string FullPath(std::u16string_view path) {
    if (path.find(u'\0') != path.npos) return {};
    std::error_code error;
    auto absolute = std::filesystem::absolute(ToNativeBytes(path), error);
    if (error) return {};
    // Behind a link ".." leads elsewhere than the text tells.
    if (std::find(absolute.begin(), absolute.end(), "..") != absolute.end()) {
        const auto name = absolute.filename() == ".." ? std::filesystem::path() : absolute.filename();
        const auto folder =
            std::filesystem::weakly_canonical(name.empty() ? absolute : absolute.parent_path(), error);
        if (!error) absolute = folder / name;
    }
    return std::u16string(WithoutTrailingSeparators(FromNativeBytes(absolute.lexically_normal().native())));
}

std::u16string ShortPath(std::u16string_view path) {
    return FindFirst(path) ? std::u16string(path) : std::u16string();
}

std::optional<std::uint64_t> SizeOnDisk(std::u16string_view path) {
    const auto native = ToNativePath(path);
    if (!native) return std::nullopt;
    const auto entry = Stat(native->Text());
    if (!entry) return std::nullopt;
    return entry->stx_blocks * kBlock;
}

bool WriteFileTime(std::u16string_view path, FileTime which, double date) {
    const auto native = ToNativePath(path);
    const auto time = TimeOfDate(date);
    if (!native || !time || which == FileTime::Creation) return false;
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    times[which == FileTime::LastAccess ? 0 : 1] = {*time, 0};
    return utimensat(AT_FDCWD, native->c_str(), times, 0) == 0;
}

bool WriteAttributes(std::u16string_view path, std::uint32_t attributes) {
    const auto native = ToNativePath(path);
    if (!native) return false;
    const auto entry = Stat(native->Text());
    if (!entry) return false;

    // A leading dot hides whatever is stored.
    constexpr std::uint32_t kStored =
        kAttributeHidden | kAttributeSystem | kAttributeArchive | kAttributeTemporary;
    const std::uint32_t current = AttributesOf(native->Text(), *entry, LastComponent(path));
    const bool dotHides = LastComponent(path).starts_with(u'.');
    if (dotHides && (attributes & kAttributeHidden) == 0) return false;
    const mode_t mode = entry->stx_mode & 07777;
    const bool readOnly = (attributes & kAttributeReadOnly) != 0;
    const mode_t wanted = readOnly ? mode & ~kWriteBits : ((mode & kWriteBits) == 0 ? mode | S_IWUSR : mode);
    if (wanted != mode && !ChangeMode(*native, wanted)) return false;

    // Read-only can be stored, too, by whoever shares the folder with Windows clients.
    const std::uint32_t stored = ReadDosAttributes(native->Text()).value_or(0);
    if (((current ^ attributes) & kStored) == 0 && (readOnly || (stored & kAttributeReadOnly) == 0))
        return true;
    // Only while the owner may write can anything be stored.
    const bool sealed = (wanted & S_IWUSR) == 0;
    if (sealed && !ChangeMode(*native, wanted | S_IWUSR)) return false;
    const bool written = WriteDosAttributes(native->Text(), attributes & kStored);
    const mode_t now = sealed ? wanted | S_IWUSR : wanted;
    const mode_t after = written ? wanted : mode;
    return (after == now || ChangeMode(*native, after)) && written;
}

CreateResult CreateFolder(std::u16string_view path) {
    const auto native = ToNativePath(path);
    if (native && mkdir(native->c_str(), 0777) == 0) return CreateResult::Created;
    return native && errno == EEXIST ? CreateResult::Exists : CreateResult::Refused;
}

CreateResult CreateNewFile(std::u16string_view path) {
    const auto native = ToNativePath(path);
    if (!native) return CreateResult::Refused;
    const FileHandle file(open(native->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file) return CreateResult::Created;
    return errno == EEXIST ? CreateResult::Exists : CreateResult::Refused;
}

}  // namespace tsasync::platform
