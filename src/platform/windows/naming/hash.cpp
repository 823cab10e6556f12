#include "platform/hash.h"

#include <windows.h>
// after windows.h, whose types it uses
#include <bcrypt.h>

#include <new>

namespace tsasync::platform {

std::array<std::uint8_t, 32> Sha256(std::span<const std::byte> data) {
    std::array<std::uint8_t, 32> digest{};
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) < 0)
        throw std::bad_alloc();
    // The function only reads its input, though it does not say so.
    auto* input = reinterpret_cast<PUCHAR>(const_cast<std::byte*>(data.data()));
    const NTSTATUS status = BCryptHash(algorithm, nullptr, 0, input, static_cast<ULONG>(data.size()),
                                       digest.data(), static_cast<ULONG>(digest.size()));
    BCryptCloseAlgorithmProvider(algorithm, 0);
    if (status < 0) throw std::bad_alloc();  // the one way in which a hash of memory fails
    return digest;
}

}  // namespace tsasync::platform
