#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync {

// Leading and trailing spaces (U+0020 only) removed.
std::u16string_view Trim(std::u16string_view text);

// Plain decimal: no leading zeros, a leading "-" when negative.
std::u16string Decimal(std::int64_t value);

// Upper-case hexadecimal digits without prefix or leading zeros.
std::u16string Hex(std::uint32_t value);

// `value` to the nearest whole number, halves to the even neighbour.
double RoundHalfEven(double value);

}  // namespace tsasync
