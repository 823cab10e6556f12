#pragma once

#include "tsasync/com.h"

#include <optional>
#include <string>
#include <string_view>

namespace tsasync::comrt {

// Automation dates lie in the years 100 to 9999.
bool IsDate(double value);

// "YYYY-MM-DD", with " HH:MM:SS" behind it unless that is midnight. Rounded to the second.
std::string DateText(DATE date);

// The date of "YYYY-MM-DD", "YYYY-MM-DD HH:MM" or "YYYY-MM-DD HH:MM:SS"; nothing for any other text.
std::optional<DATE> ParseDate(std::string_view text);

}  // namespace tsasync::comrt
