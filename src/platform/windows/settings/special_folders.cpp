#include "platform/special_folders.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "platform/windows/base/wide.h"

#include <shlobj.h>

#include <array>

namespace tsasync::platform {

std::u16string SpecialFolder(std::int32_t number) {
    LPITEMIDLIST list = nullptr;
    if (SHGetSpecialFolderLocation(nullptr, number, &list) != S_OK) return {};
    std::array<wchar_t, MAX_PATH> path{};
    const bool found = SHGetPathFromIDListW(list, path.data()) != FALSE;
    CoTaskMemFree(list);
    if (!found) return {};
    std::u16string text = FromWide(path.data());
    // Wine adds one; that of a root ("D:\\") stays, since "D:" is another folder.
    if (text.ends_with(u'\\') && !text.ends_with(u":\\")) text.pop_back();
    return text;
}

}  // namespace tsasync::platform
