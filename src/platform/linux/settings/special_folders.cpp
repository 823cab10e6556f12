#include "platform/special_folders.h"

#include "platform/linux/files/native_path.h"

#include <glib.h>

#include <string_view>

namespace tsasync::platform {

namespace {

constexpr std::int32_t kCreateFlag = 0x8000;  // asks Windows to create the folder; the number is below it

// The user's folder for one kind of documents; the home folder where the user has set none.
const char* UserFolder(GUserDirectory kind) {
    const char* const path = g_get_user_special_dir(kind);
    return path != nullptr ? path : g_get_home_dir();
}

// The folder that plays the part of CSIDL folder `number`; null when none does.
const char* FolderFor(std::int32_t number) {
    switch (number) {
        case 0x00:  // desktop
        case 0x10:
            return UserFolder(G_USER_DIRECTORY_DESKTOP);
        case 0x05:  // documents
        case 0x0C:
            return UserFolder(G_USER_DIRECTORY_DOCUMENTS);
        case 0x0D:
            return UserFolder(G_USER_DIRECTORY_MUSIC);
        case 0x0E:
            return UserFolder(G_USER_DIRECTORY_VIDEOS);
        case 0x15:
            return UserFolder(G_USER_DIRECTORY_TEMPLATES);
        case 0x27:
            return UserFolder(G_USER_DIRECTORY_PICTURES);
        case 0x1A:  // application data, roaming and local
        case 0x1C:
            return g_get_user_data_dir();
        case 0x20:  // internet cache
            return g_get_user_cache_dir();
        case 0x28:  // profile
            return g_get_home_dir();
        default:
            return nullptr;
    }
}

}  // namespace

std::u16string SpecialFolder(std::int32_t number) {
    const char* const path = FolderFor(number & ~kCreateFlag);
    if (path == nullptr) return {};
    std::string_view text = path;
    while (text.size() > 1 && text.ends_with('/')) text.remove_suffix(1);
    return FromNativeBytes(text);
}

}  // namespace tsasync::platform
