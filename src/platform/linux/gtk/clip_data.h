#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tsasync::platform {

// The component's clip `number` as an AVI file; empty when there is none. The build draws the clips.
std::span<const std::byte> ClipData(std::int32_t number);

}  // namespace tsasync::platform
