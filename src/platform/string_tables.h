#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tsasync::platform {

// The component's own module, whose tables are read.
std::int32_t OwnResourceModule();

// The bytes of string-table block `block` (counted from 1) of `module` in exactly `language`; language 0 is
// the neutral request, for which the system picks a block, beginning with the language of the process's
// locale. Nothing when there is none. The bytes live as long as the module. Block format: 16 entries, each a
// little-endian 16-bit count followed by that many UTF-16 units.
std::optional<std::span<const std::byte>> FindStringTable(std::int32_t module, std::int32_t block,
                                                          std::int32_t language);

}  // namespace tsasync::platform
