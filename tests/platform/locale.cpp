#include "tests/platform/locale.h"

#include "base/Text.h"
#include "platform/locale.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace tsasync {

namespace {

std::int32_t g_language = 1033;
std::u16string g_separator = u".";

}  // namespace

void testplatform::SetLocale(std::int32_t language, std::u16string decimalSeparator) {
    g_language = language;
    g_separator = std::move(decimalSeparator);
}

std::int32_t platform::UserDefaultLanguage() { return g_language; }

std::u16string platform::DecimalSeparator() { return g_separator; }

std::u16string platform::FormatNumber(double value, int decimals, bool /*grouped*/) {
    std::array<char, 400> digits{};  // room for the largest double
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::fixed, decimals);
    std::u16string text(digits.data(), end.ptr);
    if (const auto point = text.find(u'.'); point != text.npos) text.replace(point, 1, g_separator);
    return text;
}

std::u16string platform::FormatLongDate(double date) { return FormatNumber(std::trunc(date), 0, false); }

std::u16string platform::FormatLongTime(double date) {
    return FormatNumber(std::abs(date - std::trunc(date)), 6, false);
}

std::u16string platform::LanguageName(std::uint16_t language) { return Decimal(language); }

}  // namespace tsasync
