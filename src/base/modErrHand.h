#pragma once

#include <cstdint>
#include <string>

namespace tsasync::modErrHand {

inline constexpr std::int32_t kObjectErrorBase = -2147221504;  // 0x80040000

// Throws AutomationError. A `number` above 1000 is one of the component's own: the object-error base is added
// and `source` stands as it is. Any other number is raised as it is, with "(VB)" appended to `source`.
[[noreturn]] void RaiseError(std::int32_t number, std::u16string source, std::u16string description = {},
                             std::u16string helpFile = {}, std::int32_t helpContext = 0);

// The low 16 bits of `number`: the number without the object-error base or any other high part.
std::int32_t ErrorCode(std::int32_t number);

}  // namespace tsasync::modErrHand
