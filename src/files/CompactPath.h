#pragma once

#include "platform/progress_window.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync::modFileOps {

// `sPath` shortened in its middle so that it fits `lWidth` pixels in the window's font; without leading and
// trailing spaces when it fits as it is.
std::u16string CompactPath(std::u16string_view sPath, std::int32_t lWidth,
                           const platform::ProgressWindow& oWindow);

}  // namespace tsasync::modFileOps
