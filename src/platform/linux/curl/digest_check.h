#pragma once

#include "platform/reader/response_head.h"

#include <glib.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tsasync::platform::reader {

// Compares a finished file with the digests that its server sent, in slices, so that it holds up nothing
// else.
class DigestCheck {
  public:
    // Reads from `file`, which stays the caller's, from its start on.
    DigestCheck(int file, const Digests& digests);

    // Reads one slice. False when all is read.
    bool Step();
    // After that: the system's error of reading, or 0.
    int Error() const { return m_error; }
    // Without one: whether the content agrees with every digest.
    bool Agrees() const;

  private:
    struct FreeChecksum {
        void operator()(GChecksum* checksum) const { g_checksum_free(checksum); }
    };
    struct Expected {
        std::unique_ptr<GChecksum, FreeChecksum> checksum;
        std::string digest;
    };
    void Expect(GChecksumType type, const std::string& digest);

    int m_file;
    std::int64_t m_position = 0;
    int m_error = 0;
    std::vector<Expected> m_expected;
    std::vector<guchar> m_buffer;
};

}  // namespace tsasync::platform::reader
