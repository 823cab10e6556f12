#include "platform/hash.h"

#include "platform/windows/base/handles.h"

#include <new>

namespace tsasync::platform {

std::array<std::uint8_t, 32> Sha256(std::span<const std::byte> data) {
    std::array<std::uint8_t, 32> digest{};
    AlgorithmHandle algorithm;
    if (BCryptOpenAlgorithmProvider(algorithm.Put(), BCRYPT_SHA256_ALGORITHM, nullptr, 0) < 0)
        throw std::bad_alloc();
    // The function only reads its input, though it does not say so.
    auto* input = reinterpret_cast<PUCHAR>(const_cast<std::byte*>(data.data()));
    const NTSTATUS status = BCryptHash(algorithm.Get(), nullptr, 0, input, static_cast<ULONG>(data.size()),
                                       digest.data(), static_cast<ULONG>(digest.size()));
    if (status < 0) throw std::bad_alloc();  // the one way in which a hash of memory fails
    return digest;
}

}  // namespace tsasync::platform
