#pragma once

#include "platform/reader/header_fields.h"
#include "platform/windows/base/handles.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tsasync::platform {

// Compares data, as it arrives, with the digests that its server sent.
class DigestCheck {
  public:
    explicit DigestCheck(const reader::Digests& digests);

    void Add(std::span<std::byte> data);
    // After all data, once: whether it agrees with every digest that the system can make.
    bool Agrees();

  private:
    struct Expected {
        AlgorithmHandle algorithm;  // outlives its hash
        HashHandle hash;
        std::string digest;
    };
    void Expect(const wchar_t* algorithmName, const std::string& digest);

    std::vector<Expected> m_expected;
};

}  // namespace tsasync::platform
