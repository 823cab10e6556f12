#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tsasync::platform {

// An open file descriptor, closed by its owner.
class FileHandle {
  public:
    FileHandle() = default;
    explicit FileHandle(int descriptor) : m_descriptor(descriptor) {}
    FileHandle(FileHandle&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileHandle() { Close(); }

    explicit operator bool() const { return m_descriptor >= 0; }
    int Get() const { return m_descriptor; }
    // Gives it up to the caller.
    int Release() { return std::exchange(m_descriptor, -1); }
    // 0 or the system's error number: some file systems tell only here what they could not write.
    int Close() {
        if (m_descriptor < 0 || close(std::exchange(m_descriptor, -1)) == 0 || errno == EINTR) return 0;
        return errno;
    }

  private:
    int m_descriptor = -1;
};

}  // namespace tsasync::platform
