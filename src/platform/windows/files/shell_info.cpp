#include "platform/shell_info.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "platform/windows/base/wide.h"

#include <shellapi.h>

namespace tsasync::platform {

ShellInfo ReadShellInfo(std::u16string_view path) {
    SHFILEINFOW info{};
    if (SHGetFileInfoW(Wide(std::u16string(path)), 0, &info, sizeof info,
                       SHGFI_ICON | SHGFI_DISPLAYNAME | SHGFI_TYPENAME) == 0) {
        return {};
    }
    // Handles of icons have 32 significant bits in every process.
    Icon icon(static_cast<std::int32_t>(reinterpret_cast<LONG_PTR>(info.hIcon)));
    return {FromWide(info.szDisplayName), FromWide(info.szTypeName), std::move(icon)};
}

void ReleaseIcon(std::int32_t icon) { DestroyIcon(reinterpret_cast<HICON>(static_cast<LONG_PTR>(icon))); }

std::u16string IconName(std::int32_t) { return {}; }

}  // namespace tsasync::platform
