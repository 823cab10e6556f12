#pragma once

#include "platform/windows/base/handles.h"
#include "platform/windows/moniker/http_fields.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tsasync::platform {

// Compares data, as it arrives, with the digests that its server sent.
class DigestCheck {
  public:
    // `head`: of the HTTP response that the data belongs to.
    explicit DigestCheck(const ResponseHead& head);

    void Add(std::span<std::byte> data);
    // After all data, once: whether it agrees with every digest that the system can make.
    bool Agrees();

  private:
    struct Expected {
        AlgorithmHandle algorithm;  // outlives its hash
        HashHandle hash;
        std::vector<unsigned char> digest;
    };
    void Expect(const wchar_t* algorithmName, std::size_t size, const std::u16string& base64);

    std::vector<Expected> m_expected;
};

}  // namespace tsasync::platform
