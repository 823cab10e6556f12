#include "platform/linux/curl/content_type.h"

#include "platform/linux/curl/source_url.h"

#include <gio/gio.h>

namespace tsasync::platform::reader {

namespace {

constexpr const char* kUnknown = "application/octet-stream";

}  // namespace

bool SaysNothing(std::string_view mediaType) {
    return mediaType.empty() || mediaType == kUnknown || mediaType == "binary/octet-stream" ||
           mediaType == "text/plain" || mediaType == "*/*";
}

std::string GuessMediaType(std::string_view mediaType, const std::string& url, std::string_view start) {
    const std::string name = FileNameOf(url);
    gboolean uncertain = FALSE;
    gchar* type =
        g_content_type_guess(name.empty() ? nullptr : name.c_str(),
                             reinterpret_cast<const guchar*>(start.data()), start.size(), &uncertain);
    gchar* guessed = type == nullptr ? nullptr : g_content_type_get_mime_type(type);
    std::string result = guessed == nullptr ? "" : guessed;
    g_free(guessed);
    g_free(type);
    if (result.empty() || result == kUnknown || result == "application/x-zerosize") {
        result = mediaType.empty() || mediaType == "*/*" ? kUnknown : std::string(mediaType);
    }
    return result;
}

}  // namespace tsasync::platform::reader
