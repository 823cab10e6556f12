#include "base/Text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace tsasync {

std::u16string_view Trim(std::u16string_view text) {
    const auto first = text.find_first_not_of(u' ');
    if (first == std::u16string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

std::u16string Decimal(std::int64_t value) {
    std::array<char, 20> digits;  // the longest is -9223372036854775808
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

std::u16string Hex(std::uint32_t value) {
    static constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
    std::u16string text;
    do {
        text.insert(text.begin(), kDigits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return text;
}

double RoundHalfEven(double value) {
    const double below = std::floor(value);
    const double rest = value - below;
    if (rest != 0.5) return rest < 0.5 ? below : below + 1;
    return std::fmod(below, 2) == 0 ? below : below + 1;
}

}  // namespace tsasync
