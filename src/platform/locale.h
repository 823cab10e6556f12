#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The user's locale. On Linux that of the process, or of the environment where the process has set none.
namespace tsasync::platform {

// The Windows language identifier of the user's default language (1031 German (Germany) …); 0 when unknown.
std::int32_t UserDefaultLanguage();

// `value` with exactly `decimals` digits (0 to 6) after the locale's decimal separator, halves to even; with
// `grouped`, thousands are separated.
std::u16string FormatNumber(double value, int decimals, bool grouped);

// The locale's decimal separator.
std::u16string DecimalSeparator();

// `date` (automation date, local time) in the locale's long date format, and its long time format.
std::u16string FormatLongDate(double date);
std::u16string FormatLongTime(double date);

// The name of a Windows language identifier in the user's language; 0, which is no language, and unknown ones
// have the name that the system gives to all of these.
std::u16string LanguageName(std::uint16_t language);

}  // namespace tsasync::platform
