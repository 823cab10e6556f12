#include "platform/shell_info.h"

#include "base/Utf8.h"
#include "platform/linux/files/native_path.h"

#include <gio/gio.h>

#include <map>
#include <memory>

namespace tsasync::platform {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(gchar* text) const { g_free(text); }
};

template <typename T>
using Owned = std::unique_ptr<T, Unref>;

// Objects of GIO under numbers of 32 bits, as a handle has them. Icons belong to the thread that read them.
struct Icons {
    std::map<std::int32_t, Owned<GIcon>> live;
    std::int32_t last = 0;
};

thread_local Icons g_icons;

std::int32_t KeepIcon(GIcon* icon) {
    if (icon == nullptr) return 0;
    do {
        g_icons.last = g_icons.last == INT32_MAX ? 1 : g_icons.last + 1;
    } while (g_icons.live.contains(g_icons.last));
    g_icons.live[g_icons.last].reset(G_ICON(g_object_ref(icon)));
    return g_icons.last;
}

std::u16string TextOf(const char* text) { return text == nullptr ? std::u16string() : FromUtf8(text); }

}  // namespace

ShellInfo ReadShellInfo(std::u16string_view path) {
    const auto native = ToNativePath(path);
    if (!native) return {};
    constexpr char kWanted[] = G_FILE_ATTRIBUTE_STANDARD_DISPLAY_NAME
        "," G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE "," G_FILE_ATTRIBUTE_STANDARD_ICON;
    const Owned<GFile> file(g_file_new_for_path(native->c_str()));
    const Owned<GFileInfo> info(
        g_file_query_info(file.get(), kWanted, G_FILE_QUERY_INFO_NONE, nullptr, nullptr));
    if (!info) return {};

    ShellInfo result;
    result.displayName = TextOf(g_file_info_get_display_name(info.get()));
    if (const char* const type = g_file_info_get_content_type(info.get())) {
        const Owned<gchar> description(g_content_type_get_description(type));
        result.typeName = TextOf(description.get());
    }
    result.icon = Icon(KeepIcon(g_file_info_get_icon(info.get())));
    return result;
}

void ReleaseIcon(std::int32_t icon) { g_icons.live.erase(icon); }

std::u16string IconName(std::int32_t icon) {
    const auto found = g_icons.live.find(icon);
    if (found == g_icons.live.end() || !G_IS_THEMED_ICON(found->second.get())) return {};
    const gchar* const* const names = g_themed_icon_get_names(G_THEMED_ICON(found->second.get()));
    return names[0] == nullptr ? std::u16string() : TextOf(names[0]);
}

}  // namespace tsasync::platform
