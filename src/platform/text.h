#pragma once

#include <string>
#include <string_view>

// Letter case of single UTF-16 units, without regard to locale. A unit without a one-unit counterpart (a
// surrogate, the German sharp s) is returned as it is.
namespace tsasync::platform {

char16_t ToLower(char16_t unit);
char16_t ToUpper(char16_t unit);

}  // namespace tsasync::platform
