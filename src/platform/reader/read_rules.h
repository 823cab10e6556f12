#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

// What the readers of all systems have in common.
namespace tsasync::platform {

// A number of bytes as notifications tell it.
constexpr std::int32_t Saturated(std::int64_t count) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(count, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace tsasync::platform
