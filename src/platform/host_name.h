#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform {

// The host name `name` (UTF-8) in the ASCII form that name servers know ("xn--…"), whatever the process's
// locale; nothing when it can't be one.
std::optional<std::string> AsciiHostName(std::string_view name);

}  // namespace tsasync::platform
