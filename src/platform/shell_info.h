#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// How the desktop presents an entry of the file system to its user.
namespace tsasync::platform {

void ReleaseIcon(std::int32_t icon);

// Owns an icon of the desktop.
class Icon {
  public:
    Icon() = default;
    explicit Icon(std::int32_t handle) : m_handle(handle) {}
    Icon(Icon&& other) noexcept : m_handle(std::exchange(other.m_handle, 0)) {}
    Icon& operator=(Icon other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~Icon() {
        if (m_handle != 0) ReleaseIcon(m_handle);
    }
    std::int32_t Get() const { return m_handle; }  // 0 none

  private:
    std::int32_t m_handle = 0;
};

struct ShellInfo {
    std::u16string displayName;
    std::u16string typeName;  // such as "JPEG image", in the user's language
    Icon icon;                // a large one
};

// All fields are empty when the desktop can't present `path`.
ShellInfo ReadShellInfo(std::u16string_view path);

// The name under which themes of the desktop know the icon; empty where its icons have none.
std::u16string IconName(std::int32_t icon);

}  // namespace tsasync::platform
