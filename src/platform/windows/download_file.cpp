#include "download_file.h"

#include "platform/clock.h"
#include "platform/file_system.h"
#include "wide.h"

#include <array>

namespace tsasync::platform {

namespace {

constexpr double kDaysToKeep = 7;

std::u16string Folder() {
    std::array<wchar_t, MAX_PATH + 1> temporary{};
    GetTempPathW(static_cast<DWORD>(temporary.size()), temporary.data());
    return FromWide(temporary.data()) + u"QMASYN10";
}

}  // namespace

HANDLE CreateDownloadFile(std::u16string& path) {
    const std::u16string folder = Folder();
    CreateFolder(folder);
    std::array<wchar_t, MAX_PATH + 1> name{};
    if (GetTempFileNameW(Wide(folder), L"qma", 0, name.data()) == 0) return INVALID_HANDLE_VALUE;
    path = FromWide(name.data());
    return CreateFileW(Wide(path), GENERIC_WRITE, FILE_SHARE_READ, nullptr, TRUNCATE_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

void SweepDownloadFiles() {
    const std::u16string folder = Folder() + u"\\";
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(Wide(folder + u"qma*.tmp"), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        const std::u16string path = folder + FromWide(found.cFileName);
        const auto entry = FindFirst(path);
        if (entry && entry->lastWriteTime < Now() - kDaysToKeep) DeleteFileW(Wide(path));
    } while (FindNextFileW(search, &found) != FALSE);
    FindClose(search);
}

}  // namespace tsasync::platform
