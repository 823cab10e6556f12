#pragma once

#include "automation/Utf8.h"

#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform {

// `path` as the system's calls take it; nothing when it can't be the name of an entry (empty, a NUL inside),
// so that a call never reaches another entry than the one named.
inline std::optional<std::string> ToNativePath(std::u16string_view path) {
    if (path.empty() || path.find(u'\0') != std::u16string_view::npos) return std::nullopt;
    return ToUtf8(path);
}

}  // namespace tsasync::platform
