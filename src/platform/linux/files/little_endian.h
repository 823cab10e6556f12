#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Numbers as Windows files store them.
namespace tsasync::platform {

// The number of sizeof(T) bytes at `offset`; 0 when it is not wholly inside.
template <typename T>
T LoadLittle(std::span<const std::byte> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) return 0;
    T value = 0;
    for (std::size_t i = sizeof(T); i-- > 0;) {
        value =
            static_cast<T>((std::uint64_t{value} << 8) | std::to_integer<std::uint64_t>(bytes[offset + i]));
    }
    return value;
}

inline std::uint16_t U16(std::span<const std::byte> bytes, std::size_t offset) {
    return LoadLittle<std::uint16_t>(bytes, offset);
}
inline std::uint32_t U32(std::span<const std::byte> bytes, std::size_t offset) {
    return LoadLittle<std::uint32_t>(bytes, offset);
}

}  // namespace tsasync::platform
