#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tsasync::platform {

struct StringTable {
    std::int32_t block;     // counted from 1
    std::int32_t language;  // Windows language identifier
    std::span<const std::byte> bytes;
};

// Every string-table block that is linked into the component. The build makes them of ui/res/texts.tsv.
std::span<const StringTable> StringTables();

}  // namespace tsasync::platform
