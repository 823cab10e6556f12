#include "platform/reader/running_hash.h"

#include <glib.h>

namespace tsasync::platform::reader {

namespace {

GChecksumType TypeOf(DigestKind kind) {
    switch (kind) {
        case DigestKind::Md5:
            return G_CHECKSUM_MD5;
        case DigestKind::Sha256:
            return G_CHECKSUM_SHA256;
        default:
            return G_CHECKSUM_SHA512;
    }
}

}  // namespace

struct RunningHash::State {
    explicit State(DigestKind kind) : checksum(g_checksum_new(TypeOf(kind))) {}
    ~State() { g_checksum_free(checksum); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    GChecksum* checksum;
};

RunningHash::RunningHash(DigestKind kind) : m_state(std::make_unique<State>(kind)) {}
RunningHash::~RunningHash() = default;
RunningHash::RunningHash(RunningHash&&) noexcept = default;
RunningHash& RunningHash::operator=(RunningHash&&) noexcept = default;

void RunningHash::Add(std::string_view bytes) {
    g_checksum_update(m_state->checksum, reinterpret_cast<const guchar*>(bytes.data()),
                      static_cast<gssize>(bytes.size()));
}

std::string RunningHash::Finish() {
    std::string digest(64, '\0');
    gsize size = digest.size();
    g_checksum_get_digest(m_state->checksum, reinterpret_cast<guint8*>(digest.data()), &size);
    digest.resize(size);
    return digest;
}

}  // namespace tsasync::platform::reader
