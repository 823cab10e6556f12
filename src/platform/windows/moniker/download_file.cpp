#include "platform/windows/moniker/download_file.h"

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/windows/base/wide.h"

#include <array>

namespace tsasync::platform {

namespace {

constexpr double kDaysToKeep = 7;

std::u16string TemporaryFolder() {
    std::array<wchar_t, MAX_PATH + 1> temporary{};
    GetTempPathW(static_cast<DWORD>(temporary.size()), temporary.data());
    return FromWide(temporary.data()) + u"QMASYN10";
}

// Where the volume of a path, which need not exist, is mounted; empty when the system can't tell.
std::u16string VolumeOf(const std::u16string& path) {
    std::array<wchar_t, MAX_PATH + 1> volume{};
    GetVolumePathNameW(Wide(path), volume.data(), static_cast<DWORD>(volume.size()));
    return FromWide(volume.data());
}

FileHandle CreateFileIn(const std::u16string& folder, std::u16string& path) {
    std::array<wchar_t, MAX_PATH + 1> name{};
    if (GetTempFileNameW(Wide(folder), L"qma", 0, name.data()) == 0) return {};
    path = FromWide(name.data());
    return FileHandle(CreateFileW(Wide(path), GENERIC_WRITE, FILE_SHARE_READ, nullptr, TRUNCATE_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

std::u16string DownloadFolder(std::u16string_view goal) {
    std::u16string temporary = TemporaryFolder();
    const std::u16string folder(goal.substr(0, goal.find_last_not_of(u'\\') + 1));
    const auto end = folder.rfind(u'\\');
    if (end == folder.npos || VolumeOf(folder) == VolumeOf(temporary)) return temporary;
    return folder.substr(0, end) + u"\\.QMASYN10";
}

FileHandle CreateDownloadFile(std::u16string_view folder, std::u16string& path) {
    const std::u16string temporary = TemporaryFolder();
    const std::u16string wanted(folder);
    if (wanted != temporary && CreateDirectoryW(Wide(wanted), nullptr) != FALSE) {
        SetFileAttributesW(Wide(wanted), FILE_ATTRIBUTE_HIDDEN);
    }
    if (wanted != temporary) {
        if (FileHandle file = CreateFileIn(wanted, path)) return file;
    }
    CreateFolder(temporary);
    return CreateFileIn(temporary, path);
}

void RemoveDownloadFolder(const std::u16string& folder) {
    // The system refuses while there is something in it.
    if (folder != TemporaryFolder()) RemoveDirectoryW(Wide(folder));
}

void SweepDownloadFiles(const std::u16string& folder) {
    WIN32_FIND_DATAW found{};
    const SearchHandle search(FindFirstFileW(Wide(folder + u"\\qma*.tmp"), &found));
    if (!search) return;
    do {
        const std::u16string path = folder + u"\\" + FromWide(found.cFileName);
        const auto entry = FindFirst(path);
        if (entry && entry->lastWriteTime < Now() - kDaysToKeep) DeleteFileW(Wide(path));
    } while (FindNextFileW(search.Get(), &found) != FALSE);
}

}  // namespace tsasync::platform
