#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform {

// `path` with characters in its middle replaced by "..." so that `fits` holds, as much as possible of the
// text after its last separator kept, and whole characters only. Nothing when it fits as it is. Where not
// even "..." and one character fit, the result is "...".
std::optional<std::u16string> EllipsizePath(std::u16string_view path,
                                            const std::function<bool(std::u16string_view)>& fits);

}  // namespace tsasync::platform
