#pragma once

#include "platform/reader/header_fields.h"
#include "platform/reader/own_files.h"
#include "platform/reader/running_hash.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tsasync::platform::reader {

// Compares a finished file with the digests that its server sent, in slices, so that it holds up nothing
// else.
class DigestCheck {
  public:
    // Reads from `file`, which stays the caller's, from its start on.
    DigestCheck(const OwnFile& file, const Digests& digests);

    // Reads one slice. False when all is read.
    bool Step();
    // After that: the system's error of reading, or 0.
    int Error() const { return m_error; }
    // Without one, once: whether the content agrees with every digest that the system can make.
    bool Agrees();

  private:
    struct Expected {
        RunningHash hash;
        std::string digest;
    };
    void Expect(DigestKind kind, const std::string& digest);

    const OwnFile& m_file;
    std::int64_t m_position = 0;
    int m_error = 0;
    std::vector<Expected> m_expected;
    std::string m_buffer;
};

}  // namespace tsasync::platform::reader
