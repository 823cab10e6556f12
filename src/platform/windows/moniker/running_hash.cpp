#include "platform/reader/running_hash.h"

#include "platform/windows/base/handles.h"

namespace tsasync::platform::reader {

namespace {

const wchar_t* NameOf(DigestKind kind) {
    switch (kind) {
        case DigestKind::Md5:
            return BCRYPT_MD5_ALGORITHM;
        case DigestKind::Sha256:
            return BCRYPT_SHA256_ALGORITHM;
        default:
            return BCRYPT_SHA512_ALGORITHM;
    }
}

}  // namespace

struct RunningHash::State {
    AlgorithmHandle algorithm;
    HashHandle hash;  // null when the system can't make this kind
};

RunningHash::RunningHash(DigestKind kind) : m_state(std::make_unique<State>()) {
    if (BCryptOpenAlgorithmProvider(m_state->algorithm.Put(), NameOf(kind), nullptr, 0) < 0) return;
    BCryptCreateHash(m_state->algorithm.Get(), m_state->hash.Put(), nullptr, 0, nullptr, 0, 0);
}
RunningHash::~RunningHash() = default;
RunningHash::RunningHash(RunningHash&&) noexcept = default;
RunningHash& RunningHash::operator=(RunningHash&&) noexcept = default;

void RunningHash::Add(std::string_view bytes) {
    // The function only reads its input, though it does not say so.
    auto* input = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
    if (m_state->hash) BCryptHashData(m_state->hash.Get(), input, static_cast<ULONG>(bytes.size()), 0);
}

std::string RunningHash::Finish() {
    DWORD size = 0;
    DWORD unused = 0;
    if (!m_state->hash || BCryptGetProperty(m_state->hash.Get(), BCRYPT_HASH_LENGTH,
                                            reinterpret_cast<PUCHAR>(&size), sizeof size, &unused, 0) < 0) {
        return {};
    }
    std::string digest(size, '\0');
    const NTSTATUS status =
        BCryptFinishHash(m_state->hash.Get(), reinterpret_cast<PUCHAR>(digest.data()), size, 0);
    return status < 0 ? std::string() : digest;
}

}  // namespace tsasync::platform::reader
