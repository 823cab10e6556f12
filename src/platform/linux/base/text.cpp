#include "platform/text.h"

#include <unicode/uchar.h>

namespace tsasync::platform {

namespace {

// Case mapping per code unit: a result outside the Basic Multilingual Plane does not fit and leaves `unit`
// alone.
char16_t OneUnit(UChar32 mapped, char16_t unit) {
    return mapped <= 0xFFFF ? static_cast<char16_t>(mapped) : unit;
}

}  // namespace

char16_t ToLower(char16_t unit) { return OneUnit(u_tolower(unit), unit); }

char16_t ToUpper(char16_t unit) { return OneUnit(u_toupper(unit), unit); }

}  // namespace tsasync::platform
