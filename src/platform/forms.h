#pragma once

#include <cstdint>
#include <string_view>

// What the component asks of the system's window manager beside its own dialog.
namespace tsasync::platform {

// The module instance that owns the top-level window of class `className` (any title); 0 when there is none.
std::intptr_t WindowClassInstance(std::u16string_view className);

// The module instance of this component, the owner of the forms that it loads. Never 0.
std::intptr_t ComponentInstance();

// Shows an error message with the critical-stop icon and returns when it has been seen.
void ShowErrorMessage(std::u16string_view text, std::u16string_view title);

}  // namespace tsasync::platform
