#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tsasync::platform::reader {

enum class DigestKind { Md5, Sha256, Sha512 };

// A hash of data that comes in pieces, made by the system.
class RunningHash {
  public:
    explicit RunningHash(DigestKind kind);
    ~RunningHash();
    RunningHash(RunningHash&&) noexcept;
    RunningHash& operator=(RunningHash&&) noexcept;

    void Add(std::string_view bytes);
    // The raw bytes of the hash of all data, once; empty when the system can't make this kind.
    std::string Finish();

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace tsasync::platform::reader
