#include "platform/linux/utf8.h"

#include <unicode/unistr.h>

#include <cstdint>

namespace tsasync::platform {

std::string ToUtf8(std::u16string_view text) {
    std::string result;
    icu::UnicodeString(false, text.data(), static_cast<std::int32_t>(text.size())).toUTF8String(result);
    return result;
}

std::u16string FromUtf8(std::string_view text) {
    const auto wide = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
    return {wide.getBuffer(), static_cast<std::size_t>(wide.length())};
}

std::optional<std::string> ToNativePath(std::u16string_view path) {
    if (path.empty() || path.find(u'\0') != std::u16string_view::npos) return std::nullopt;
    std::string native = ToUtf8(path);
    if (FromUtf8(native) != path) return std::nullopt;
    return native;
}

}  // namespace tsasync::platform
