#include "platform/text.h"

#include <windows.h>

namespace tsasync::platform {

namespace {

char16_t Map(char16_t unit, DWORD mapping) {
    const auto from = static_cast<wchar_t>(unit);
    wchar_t to = from;
    if (LCMapStringEx(LOCALE_NAME_INVARIANT, mapping, &from, 1, &to, 1, nullptr, nullptr, 0) != 1)
        return unit;
    return static_cast<char16_t>(to);
}

}  // namespace

char16_t ToLower(char16_t unit) { return Map(unit, LCMAP_LOWERCASE); }

char16_t ToUpper(char16_t unit) { return Map(unit, LCMAP_UPPERCASE); }

}  // namespace tsasync::platform
