#include "platform/reader/digest_check.h"

#include <algorithm>

namespace tsasync::platform::reader {

namespace {

constexpr std::size_t kSlice = 1024 * 1024;  // bytes

}  // namespace

DigestCheck::DigestCheck(const OwnFile& file, const Digests& digests) : m_file(file) {
    Expect(DigestKind::Sha256, digests.sha256);
    Expect(DigestKind::Sha512, digests.sha512);
    Expect(DigestKind::Md5, digests.md5);
}

void DigestCheck::Expect(DigestKind kind, const std::string& digest) {
    if (!digest.empty()) m_expected.push_back({RunningHash(kind), digest});
}

bool DigestCheck::Step() {
    m_buffer.resize(kSlice);
    m_error = m_file.ReadAt(m_position, m_buffer);
    m_position += static_cast<std::int64_t>(m_buffer.size());
    for (Expected& one : m_expected) one.hash.Add(m_buffer);
    return m_error == 0 && !m_buffer.empty();
}

bool DigestCheck::Agrees() {
    return std::all_of(m_expected.begin(), m_expected.end(), [](Expected& one) {
        const std::string found = one.hash.Finish();
        return found.empty() || found == one.digest;
    });
}

}  // namespace tsasync::platform::reader
