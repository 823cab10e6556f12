#pragma once

#include <cstdint>
#include <string>

namespace tsasync::testplatform {

// What the user's locale is from now on, on all threads. Its numbers have the separator and no other
// grouping; dates are their numbers.
void SetLocale(std::int32_t language, std::u16string decimalSeparator);

}  // namespace tsasync::testplatform
