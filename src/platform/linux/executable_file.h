#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tsasync::platform {

// The bytes of the version resource of a Windows executable (PE32, PE32+ or the 16-bit NE); empty when `path`
// is no such file, has none, or is cut off before its end. At most 64 KB of a resource count: its own length
// word goes no further.
std::vector<std::byte> ReadVersionBlock(const std::string& path);

}  // namespace tsasync::platform
