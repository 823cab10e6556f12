#include "platform/hash.h"

#include <glib.h>

namespace tsasync::platform {

std::array<std::uint8_t, 32> Sha256(std::span<const std::byte> data) {
    std::array<std::uint8_t, 32> digest{};
    gsize length = digest.size();
    GChecksum* const checksum = g_checksum_new(G_CHECKSUM_SHA256);
    g_checksum_update(checksum, reinterpret_cast<const guchar*>(data.data()),
                      static_cast<gssize>(data.size()));
    g_checksum_get_digest(checksum, digest.data(), &length);
    g_checksum_free(checksum);
    return digest;
}

}  // namespace tsasync::platform
