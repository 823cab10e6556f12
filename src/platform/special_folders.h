#pragma once

#include <cstdint>
#include <string>

namespace tsasync::platform {

// The path of the user's special folder `number` (CSIDL numbering; 5 is the documents folder), without a
// trailing separator unless it is a root. Empty when the number is unknown or the folder has no path.
std::u16string SpecialFolder(std::int32_t number);

}  // namespace tsasync::platform
