#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// How the desktop presents an entry of the file system to its user.
namespace tsasync::platform {

struct ShellInfo {
    std::u16string displayName;
    std::u16string typeName;  // such as "JPEG image", in the user's language
    std::int32_t icon = 0;    // a large icon that the caller owns; 0 none
};

// All fields are empty when the desktop can't present `path`.
ShellInfo ReadShellInfo(std::u16string_view path);

void ReleaseIcon(std::int32_t icon);

// The name under which themes of the desktop know the icon; empty where its icons have none.
std::u16string IconName(std::int32_t icon);

}  // namespace tsasync::platform
