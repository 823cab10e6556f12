#include "files/CFileInfo.h"

#include "base/Text.h"
#include "platform/locale.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace tsasync {

namespace {

std::u16string UpperCase(std::u16string_view text) {
    std::u16string result(text);
    std::transform(result.begin(), result.end(), result.begin(), platform::ToUpper);
    return result;
}

bool IsDriveRoot(std::u16string_view path) {
    return platform::kPathsHaveDrives && path.size() >= 2 && path[path.size() - 2] == u':' &&
           path.back() == platform::kPathSeparator;
}

// "\\server\share"
bool IsNetworkRoot(std::u16string_view path) {
    return path.size() >= 2 && path[0] == platform::kPathSeparator && path[1] == platform::kPathSeparator &&
           std::count(path.begin() + 2, path.end(), platform::kPathSeparator) == 1;
}

struct LongFolder {
    std::u16string path;
    bool whole = true;
};

// The folder path as stored, without a trailing separator except for a drive root. A level that can't be
// looked up, or is no folder, leaves out all down to it.
LongFolder LongFolderPath(std::u16string_view path) {
    if (IsDriveRoot(path)) return {UpperCase(path)};
    if (path.ends_with(platform::kPathSeparator)) path.remove_suffix(1);
    if (IsNetworkRoot(path)) return {std::u16string(path)};
    const std::size_t separator = path.rfind(platform::kPathSeparator);
    if (separator == std::u16string_view::npos) return {UpperCase(path)};

    const auto found = platform::FindFirst(path);
    if (!found || (found->attributes & platform::kAttributeDirectory) == 0) return {{}, false};
    LongFolder folder = LongFolderPath(path.substr(0, separator));
    folder.path += platform::kPathSeparator + found->name;
    return folder;
}

std::int32_t LowHalf(std::uint64_t size) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(size));
}
std::int32_t HighHalf(std::uint64_t size) { return LowHalf(size >> 32); }

// How a size from 1024 bytes on is shown: the first row whose limit is above the size in whole kilobytes.
struct SizeFormat {
    std::int32_t below;  // kilobytes
    double unit;         // bytes
    int decimals;
    std::u16string_view name;
};

constexpr double kKilobyte = 1024;
constexpr double kMegabyte = 1024 * kKilobyte;
constexpr double kGigabyte = 1024 * kMegabyte;
constexpr std::array<SizeFormat, 7> kSizeFormats{{
    {10, kKilobyte, 2, u"KB"},
    {100, kKilobyte, 1, u"KB"},
    {1000, kKilobyte, 0, u"KB"},
    {10000, kMegabyte, 2, u"MB"},
    {100000, kMegabyte, 1, u"MB"},
    {1000000, kMegabyte, 0, u"MB"},
    {std::numeric_limits<std::int32_t>::max(), kGigabyte, 2, u"GB"},
}};

}  // namespace

void CFileInfo::SetFullPathName(std::u16string_view NewVal) {
    std::u16string resolved = platform::FullPath(NewVal);
    if (resolved.empty()) return;
    m_sFullPathName = std::move(resolved);
    Refresh();
}

void CFileInfo::Refresh() {
    const auto found = platform::FindFirst(m_sFullPathName);
    m_bFileExists = found.has_value();
    if (!found) return;
    m_bPathExists = true;
    TakeFindData(*found);
    TakeNames(*found);
    const auto sizeOnDisk = platform::SizeOnDisk(m_sFullPathName);
    m_lCompressedFileSize = sizeOnDisk ? LowHalf(*sizeOnDisk) : -1;
    m_lCompressedFileSizeHigh = sizeOnDisk ? HighHalf(*sizeOnDisk) : -1;
    TakeShellInfo();
}

void CFileInfo::TakeFindData(const platform::FindData& found) {
    m_lFileSize = LowHalf(found.size);
    m_lFileSizeHigh = HighHalf(found.size);
    m_lAttributes = static_cast<std::int32_t>(found.attributes);
    m_dtCreationTime = found.creationTime;
    m_dtLastAccessTime = found.lastAccessTime;
    m_dtModifyTime = found.lastWriteTime;
}

void CFileInfo::TakeNames(const platform::FindData& found) {
    m_sFileName = found.name;
    const std::size_t separator = m_sFullPathName.rfind(platform::kPathSeparator);
    if (separator != std::u16string::npos) {
        LongFolder folder = LongFolderPath(std::u16string_view(m_sFullPathName).substr(0, separator + 1));
        m_sFilePath = std::move(folder.path);
        m_bFilePathWhole = folder.whole;
        if (!m_sFilePath.ends_with(platform::kPathSeparator)) m_sFilePath += platform::kPathSeparator;
    }
    m_sFullPathName = m_sFilePath + m_sFileName;

    const std::size_t dot = m_sFileName.rfind(u'.');
    m_sFileBaseName = m_sFileName.substr(0, dot);
    m_sFileExtension = dot == std::u16string::npos ? std::u16string() : m_sFileName.substr(dot + 1);

    m_sShortName = found.shortName.empty() ? UpperCase(m_sFileName) : found.shortName;
    std::u16string shortPath = platform::ShortPath(m_sFullPathName);
    if (shortPath.empty()) return;
    m_sShortPathName = std::move(shortPath);
    m_sShortPath = m_sShortPathName.substr(
        0, m_sShortPathName.size() - std::min(m_sShortPathName.size(), m_sShortName.size()));
}

void CFileInfo::TakeShellInfo() {
    m_hIcon = {};
    platform::ShellInfo shell = platform::ReadShellInfo(m_sFullPathName);
    m_sDisplayName = std::move(shell.displayName);
    m_sTypeName = std::move(shell.typeName);
    m_hIcon = std::move(shell.icon);
    if (Trim(m_sTypeName).empty()) m_sTypeName = Trim(UpperCase(m_sFileExtension) + u" File");
}

void CFileInfo::SetAttributes(std::int32_t NewVal) {
    if (NewVal == m_lAttributes || !m_bFileExists) return;
    if (platform::WriteAttributes(m_sFullPathName, static_cast<std::uint32_t>(NewVal))) Refresh();
}

void CFileInfo::SetBit(std::uint32_t bit, bool value) {
    const auto current = static_cast<std::uint32_t>(m_lAttributes);
    SetAttributes(static_cast<std::int32_t>(value ? current | bit : current & ~bit));
}

void CFileInfo::ApplyFileTime(double date, platform::FileTime which) {
    if (m_bFileExists && platform::WriteFileTime(m_sFullPathName, which, date)) Refresh();
}

std::u16string CFileInfo::FormatFileDate(double dt) const {
    return platform::FormatLongDate(dt) + u" " + platform::FormatLongTime(dt);
}

std::u16string CFileInfo::FormatFileSize(std::int32_t Size) const {
    std::u16string bytes = platform::FormatNumber(Size, 0, true) + u" bytes";
    if (Size < 1024) return bytes;
    const std::int32_t kilobytes = Size / 1024;
    const auto* const format = std::find_if(kSizeFormats.begin(), kSizeFormats.end(),
                                            [&](const SizeFormat& row) { return kilobytes < row.below; });
    return platform::FormatNumber(Size / format->unit, format->decimals, false) +
           std::u16string(format->name) + u" (" + bytes + u")";
}

}  // namespace tsasync
