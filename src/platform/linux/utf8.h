#pragma once

#include <optional>
#include <string>
#include <string_view>

// Between the core's UTF-16 and the system's UTF-8.
namespace tsasync::platform {

// What is malformed (a lone surrogate, a broken sequence) becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);
std::u16string FromUtf8(std::string_view text);

// `path` as the system's calls take it; nothing when it can't be the name of a file (empty, a NUL inside, a
// lone surrogate), so that a call never reaches another file than the one named.
std::optional<std::string> ToNativePath(std::u16string_view path);

}  // namespace tsasync::platform
