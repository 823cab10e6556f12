#include "tests/ui/commanded_locale.h"

#include "platform/locale.h"

namespace tsasync {

namespace {

std::int32_t g_language = 1033;
std::u16string g_separator = u".";

}  // namespace

void testlocale::Set(std::int32_t language, std::u16string decimalSeparator) {
    g_language = language;
    g_separator = std::move(decimalSeparator);
}

std::int32_t platform::UserDefaultLanguage() { return g_language; }

std::u16string platform::DecimalSeparator() { return g_separator; }

}  // namespace tsasync
