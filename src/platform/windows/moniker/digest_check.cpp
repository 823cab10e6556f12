#include "platform/windows/moniker/digest_check.h"

#include <algorithm>

namespace tsasync::platform {

DigestCheck::DigestCheck(const reader::Digests& digests) {
    Expect(BCRYPT_SHA256_ALGORITHM, digests.sha256);
    Expect(BCRYPT_SHA512_ALGORITHM, digests.sha512);
    Expect(BCRYPT_MD5_ALGORITHM, digests.md5);
}

void DigestCheck::Expect(const wchar_t* algorithmName, const std::string& digest) {
    if (digest.empty()) return;
    AlgorithmHandle algorithm;
    HashHandle hash;
    if (BCryptOpenAlgorithmProvider(algorithm.Put(), algorithmName, nullptr, 0) < 0) return;
    if (BCryptCreateHash(algorithm.Get(), hash.Put(), nullptr, 0, nullptr, 0, 0) < 0) return;
    m_expected.push_back({std::move(algorithm), std::move(hash), digest});
}

void DigestCheck::Add(std::span<std::byte> data) {
    for (const Expected& one : m_expected) {
        BCryptHashData(one.hash.Get(), reinterpret_cast<UCHAR*>(data.data()), static_cast<ULONG>(data.size()),
                       0);
    }
}

bool DigestCheck::Agrees() {
    return std::all_of(m_expected.begin(), m_expected.end(), [](const Expected& one) {
        std::string digest(one.digest.size(), '\0');
        return BCryptFinishHash(one.hash.Get(), reinterpret_cast<UCHAR*>(digest.data()),
                                static_cast<ULONG>(digest.size()), 0) == 0 &&
               digest == one.digest;
    });
}

}  // namespace tsasync::platform
