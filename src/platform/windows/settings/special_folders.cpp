#include "platform/special_folders.h"

#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <array>

namespace tsasync::platform {

std::u16string SpecialFolder(std::int32_t number) {
    TaskMemory<LPITEMIDLIST> list;
    if (SHGetSpecialFolderLocation(nullptr, number, list.Put()) != S_OK) return {};
    std::array<wchar_t, MAX_PATH> path{};
    if (SHGetPathFromIDListW(list.Get(), path.data()) == FALSE) return {};
    std::u16string text = FromWide(path.data());
    // Wine adds one; that of a root ("D:\\") stays, since "D:" is another folder.
    if (text.ends_with(u'\\') && !text.ends_with(u":\\")) text.pop_back();
    return text;
}

}  // namespace tsasync::platform
