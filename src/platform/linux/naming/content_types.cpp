#include "platform/content_types.h"

#include "platform/linux/naming/mime_database.h"

#include <gio/gio.h>

#include <optional>
#include <vector>

namespace tsasync::platform {

namespace {

// The database's folders, the one that counts most first.
std::vector<std::string> DatabaseFolders() {
    std::vector<std::string> folders{std::string(g_get_user_data_dir()) + "/mime/"};
    for (const gchar* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder) {
        folders.push_back(std::string(*folder) + "/mime/");
    }
    return folders;
}

std::optional<std::string> ReadWhole(const std::string& path) {
    gchar* contents = nullptr;
    gsize length = 0;
    if (g_file_get_contents(path.c_str(), &contents, &length, nullptr) == FALSE) return {};
    std::string text(contents, length);
    g_free(contents);
    return text;
}

std::string ExtensionOfType(const std::vector<std::string>& folders, const std::string& type) {
    for (const std::string& folder : folders) {
        const auto description = ReadWhole(folder + type + ".xml");
        std::string extension = description ? mime::PreferredExtension(*description) : std::string();
        if (!extension.empty()) return extension;
    }
    return {};
}

// The type that `type` is another name of; empty when it is none.
std::string TypeOfAlias(const std::vector<std::string>& folders, const std::string& type) {
    for (const std::string& folder : folders) {
        const auto aliases = ReadWhole(folder + "aliases");
        std::string found = aliases ? mime::Unalias(*aliases, type) : std::string();
        if (!found.empty()) return found;
    }
    return {};
}

// What the library tells of a name or of content; empty for its word for "unknown".
std::string Guess(const char* name, std::string_view data) {
    gboolean uncertain = FALSE;
    gchar* type =
        g_content_type_guess(name, reinterpret_cast<const guchar*>(data.data()), data.size(), &uncertain);
    gchar* mimeType = g_content_type_get_mime_type(type);
    // Some of the database's names have capitals.
    gchar* lower = mimeType == nullptr ? nullptr : g_ascii_strdown(mimeType, -1);
    std::string result = lower == nullptr || g_content_type_is_unknown(type) ? "" : lower;
    g_free(lower);
    g_free(mimeType);
    g_free(type);
    return result;
}

}  // namespace

std::string ExtensionForContentType(std::string_view mimeType) {
    const std::string type(mimeType);
    if (!mime::IsTypeName(type)) return {};
    const std::vector<std::string> folders = DatabaseFolders();
    std::string extension = ExtensionOfType(folders, type);
    if (extension.empty()) {
        const std::string other = TypeOfAlias(folders, type);
        if (mime::IsTypeName(other)) extension = ExtensionOfType(folders, other);
    }
    return extension;
}

std::string ContentTypeForExtension(std::string_view extension) {
    return Guess(("x" + std::string(extension)).c_str(), {});
}

std::string ContentTypeOfData(std::string_view start) { return Guess(nullptr, start); }

}  // namespace tsasync::platform
