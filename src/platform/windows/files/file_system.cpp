#include "platform/file_system.h"

#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <array>
#include <cmath>

namespace tsasync::platform {

const char16_t kPathSeparator = u'\\';
const bool kPathsHaveDrives = true;

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;  // a tick of a file time is 100 ns
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kFirstFileTime = -109205;  // 1 January 1601 as an automation date
constexpr double kLastDate = 2958466;             // 1 January 10000

// A file's time as an automation date in local time, with whole seconds; 0 for a time that is not kept.
double AutomationDate(const FILETIME& universal) {
    FILETIME local{};
    if (FileTimeToLocalFileTime(&universal, &local) == FALSE) return 0;
    const auto ticks = static_cast<std::int64_t>((static_cast<std::uint64_t>(local.dwHighDateTime) << 32) |
                                                 local.dwLowDateTime);
    if (ticks == 0) return 0;
    const std::int64_t seconds = ticks / kTicksPerSecond;
    const std::int64_t days = seconds / kSecondsPerDay;
    const auto day = static_cast<double>(days + kFirstFileTime);
    const double fraction =
        static_cast<double>(seconds % kSecondsPerDay) / static_cast<double>(kSecondsPerDay);
    return day < 0 ? day - fraction : day + fraction;
}

std::optional<FILETIME> FileTimeOf(double date) {
    if (!(date > static_cast<double>(kFirstFileTime) && date < kLastDate)) return std::nullopt;
    const double day = std::trunc(date);
    const std::int64_t second = std::llround(std::fabs(date - day) * static_cast<double>(kSecondsPerDay));
    const auto ticks = static_cast<std::uint64_t>(
        ((static_cast<std::int64_t>(day) - kFirstFileTime) * kSecondsPerDay + second) * kTicksPerSecond);
    const FILETIME local{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    FILETIME universal{};
    if (LocalFileTimeToFileTime(&local, &universal) == FALSE) return std::nullopt;
    return universal;
}

// What a function of the system writes into a buffer of the length that it asks for; empty when it fails.
template <typename Function>
std::u16string Ask(const Function& function) {
    std::u16string text(MAX_PATH, u'\0');
    for (;;) {
        const DWORD length = function(Wide(text), static_cast<DWORD>(text.size()));
        const bool fits = length < text.size();
        text.resize(length);
        if (fits) return text;
    }
}

}  // namespace

std::optional<FindData> FindFirst(std::u16string_view path) {
    WIN32_FIND_DATAW found{};
    const SearchHandle search(FindFirstFileW(Wide(std::u16string(path)), &found));
    if (!search) return std::nullopt;
    FindData result;
    result.attributes = found.dwFileAttributes;
    result.creationTime = AutomationDate(found.ftCreationTime);
    result.lastAccessTime = AutomationDate(found.ftLastAccessTime);
    result.lastWriteTime = AutomationDate(found.ftLastWriteTime);
    result.size = (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
    result.name = FromWide(found.cFileName);
    result.shortName = FromWide(found.cAlternateFileName);
    return result;
}

std::u16string FullPath(std::u16string_view path) {
    const std::u16string from(path);
    return Ask([&](wchar_t* text, DWORD size) { return GetFullPathNameW(Wide(from), size, text, nullptr); });
}

std::u16string ShortPath(std::u16string_view path) {
    const std::u16string from(path);
    return Ask([&](wchar_t* text, DWORD size) { return GetShortPathNameW(Wide(from), text, size); });
}

std::optional<std::uint64_t> SizeOnDisk(std::u16string_view path) {
    DWORD high = 0;
    SetLastError(NO_ERROR);
    const DWORD low = GetCompressedFileSizeW(Wide(std::u16string(path)), &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return std::nullopt;
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

bool WriteFileTime(std::u16string_view path, FileTime which, double date) {
    const auto time = FileTimeOf(date);
    if (!time) return false;
    const FileHandle file(CreateFileW(Wide(std::u16string(path)), GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));  // folders, too
    if (!file) return false;
    return SetFileTime(file.Get(), which == FileTime::Creation ? &*time : nullptr,
                       which == FileTime::LastAccess ? &*time : nullptr,
                       which == FileTime::LastWrite ? &*time : nullptr) != FALSE;
}

bool WriteAttributes(std::u16string_view path, std::uint32_t attributes) {
    return SetFileAttributesW(Wide(std::u16string(path)), attributes) != FALSE;
}

CreateResult CreateFolder(std::u16string_view path) {
    if (CreateDirectoryW(Wide(std::u16string(path)), nullptr) != FALSE) return CreateResult::Created;
    return GetLastError() == ERROR_ALREADY_EXISTS ? CreateResult::Exists : CreateResult::Refused;
}

CreateResult CreateNewFile(std::u16string_view path) {
    const FileHandle file(CreateFileW(Wide(std::u16string(path)), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file) return CreateResult::Created;
    return GetLastError() == ERROR_FILE_EXISTS ? CreateResult::Exists : CreateResult::Refused;
}

}  // namespace tsasync::platform
