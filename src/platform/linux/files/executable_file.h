#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tsasync::platform {

// The bytes of the version resource of a Windows executable (PE32, PE32+ or the 16-bit NE); empty when `path`
// is no such file, has none, or is cut off before its end. Where there is one for each of several languages
// it is that of `language` (a Windows identifier, 0 none in particular), else of its relatives, else the
// neutral, the English or the first one. At most 64 KB of it count: its own length word goes no further.
std::vector<std::byte> ReadVersionBlock(const std::string& path, std::uint16_t language);

}  // namespace tsasync::platform
