#include "platform/linux/curl/digest_check.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tsasync::platform::reader {

namespace {

constexpr std::size_t kSlice = 1024 * 1024;  // bytes

}  // namespace

DigestCheck::DigestCheck(int file, const Digests& digests) : m_file(file), m_buffer(kSlice) {
    Expect(G_CHECKSUM_SHA256, digests.sha256);
    Expect(G_CHECKSUM_SHA512, digests.sha512);
    Expect(G_CHECKSUM_MD5, digests.md5);
}

void DigestCheck::Expect(GChecksumType type, const std::string& digest) {
    if (!digest.empty())
        m_expected.push_back({std::unique_ptr<GChecksum, FreeChecksum>(g_checksum_new(type)), digest});
}

bool DigestCheck::Step() {
    const ssize_t count = pread(m_file, m_buffer.data(), m_buffer.size(), m_position);
    if (count < 0) m_error = errno;
    if (count <= 0) return false;
    m_position += count;
    for (const Expected& one : m_expected) g_checksum_update(one.checksum.get(), m_buffer.data(), count);
    return true;
}

bool DigestCheck::Agrees() const {
    return std::all_of(m_expected.begin(), m_expected.end(), [](const Expected& one) {
        guchar digest[64];
        gsize size = sizeof digest;
        g_checksum_get_digest(one.checksum.get(), digest, &size);
        return std::equal(digest, digest + size, one.digest.begin(), one.digest.end(),
                          [](guchar got, char sent) { return got == static_cast<guchar>(sent); });
    });
}

}  // namespace tsasync::platform::reader
