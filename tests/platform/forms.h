#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A window manager without windows, one per thread.
namespace tsasync::testplatform {

inline constexpr std::intptr_t kComponentInstance = 0x11000000;

// The instance that owns the window of every class; 0: there are no windows.
void SetWindowInstance(std::intptr_t instance);

struct ErrorMessage {
    std::u16string text;
    std::u16string title;
};
const std::vector<ErrorMessage>& ErrorMessages();

}  // namespace tsasync::testplatform
