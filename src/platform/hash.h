#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tsasync::platform {

std::array<std::uint8_t, 32> Sha256(std::span<const std::byte> data);

}  // namespace tsasync::platform
