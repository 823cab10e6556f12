#pragma once

#include <cstdint>

namespace tsasync::platform {

// What the user was typing as the dialog came was meant for another window. So no key acts on it in its first
// half second, nor one that is held down since then, until it is pressed anew.
inline constexpr std::int32_t kKeyPauseMilliseconds = 500;

// Whether a key that went down at `pressed` acts on a dialog that is shown since `shown`: milliseconds of one
// clock, which starts again from 0 behind the greatest number. `repeated` says that the key was down already.
constexpr bool KeyActs(std::uint32_t shown, std::uint32_t pressed, bool repeated) {
    return !repeated && static_cast<std::int32_t>(pressed - shown) >= kKeyPauseMilliseconds;
}

}  // namespace tsasync::platform
