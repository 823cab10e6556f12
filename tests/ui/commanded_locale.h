#pragma once

#include <cstdint>
#include <string>

namespace tsasync::testlocale {

// What the user's locale is from now on, in place of the process's own.
void Set(std::int32_t language, std::u16string decimalSeparator);

}  // namespace tsasync::testlocale
