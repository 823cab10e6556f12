#include "platform/windows/moniker/digest_check.h"

#include "platform/windows/base/wide.h"

#include <wincrypt.h>

#include <algorithm>
#include <utility>

namespace tsasync::platform {

namespace {

// Empty when it is malformed.
std::vector<unsigned char> DecodeBase64(const std::u16string& text) {
    std::vector<unsigned char> bytes(text.size());
    auto size = static_cast<DWORD>(bytes.size());
    if (text.empty() || CryptStringToBinaryW(Wide(text), size, CRYPT_STRING_BASE64, bytes.data(), &size,
                                             nullptr, nullptr) == FALSE) {
        return {};
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace

DigestCheck::DigestCheck(const ResponseHead& head) {
    Expect(BCRYPT_SHA256_ALGORITHM, 32, ParseReprDigest(head.reprDigest, u"sha-256"));
    Expect(BCRYPT_SHA512_ALGORITHM, 64, ParseReprDigest(head.reprDigest, u"sha-512"));
    Expect(BCRYPT_MD5_ALGORITHM, 16, head.contentMd5);
}

// What is no base64, or of another size, is no digest.
void DigestCheck::Expect(const wchar_t* algorithmName, std::size_t size, const std::u16string& base64) {
    std::vector<unsigned char> digest = DecodeBase64(base64);
    if (digest.size() != size) return;
    AlgorithmHandle algorithm;
    HashHandle hash;
    if (BCryptOpenAlgorithmProvider(algorithm.Put(), algorithmName, nullptr, 0) < 0) return;
    if (BCryptCreateHash(algorithm.Get(), hash.Put(), nullptr, 0, nullptr, 0, 0) < 0) return;
    m_expected.push_back({std::move(algorithm), std::move(hash), std::move(digest)});
}

void DigestCheck::Add(std::span<std::byte> data) {
    for (const Expected& one : m_expected) {
        BCryptHashData(one.hash.Get(), reinterpret_cast<UCHAR*>(data.data()), static_cast<ULONG>(data.size()),
                       0);
    }
}

bool DigestCheck::Agrees() {
    return std::all_of(m_expected.begin(), m_expected.end(), [](const Expected& one) {
        std::vector<unsigned char> digest(one.digest.size());
        return BCryptFinishHash(one.hash.Get(), digest.data(), static_cast<ULONG>(digest.size()), 0) == 0 &&
               digest == one.digest;
    });
}

}  // namespace tsasync::platform
