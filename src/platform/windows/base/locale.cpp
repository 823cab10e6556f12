#include "platform/locale.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "platform/windows/base/wide.h"

#include <oleauto.h>

#include <array>
#include <charconv>
#include <optional>

namespace tsasync::platform {

namespace {

constexpr UINT kMinusInFront = 1;  // of the user's format only the separators count

std::wstring LocaleText(LCTYPE type) {
    std::array<wchar_t, 80> text{};  // the longest that the system gives for these
    GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, type, text.data(), static_cast<int>(text.size()));
    return text.data();
}

// "3;0" groups by three again and again, "3;2;0" by three and then by two: the digits that count, 3 and 32;
// "3", by three once only, is 30.
UINT Grouping() {
    UINT grouping = 0;
    UINT last = 0;
    for (const wchar_t c : LocaleText(LOCALE_SGROUPING)) {
        if (c < L'0' || c > L'9') continue;
        last = static_cast<UINT>(c - L'0');
        grouping = grouping * 10 + last;
    }
    return last == 0 ? grouping / 10 : grouping * 10;
}

std::optional<SYSTEMTIME> TimeOf(double date) {
    SYSTEMTIME time{};
    if (VariantTimeToSystemTime(date, &time) == FALSE) return std::nullopt;
    return time;
}

}  // namespace

std::int32_t UserDefaultLanguage() { return GetUserDefaultLangID(); }

std::u16string FormatNumber(double value, int decimals, bool grouped) {
    std::array<char, 400> digits{};  // room for the largest double
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::fixed, decimals);
    const std::wstring number(digits.data(), end.ptr);

    std::wstring decimal = LocaleText(LOCALE_SDECIMAL);
    std::wstring thousand = LocaleText(LOCALE_STHOUSAND);
    NUMBERFMTW format{};
    format.NumDigits = static_cast<UINT>(decimals);
    format.LeadingZero = 1;
    format.Grouping = grouped ? Grouping() : 0;
    format.lpDecimalSep = decimal.data();
    format.lpThousandSep = thousand.data();
    format.NegativeOrder = kMinusInFront;
    std::array<wchar_t, 800> text{};
    GetNumberFormatEx(LOCALE_NAME_USER_DEFAULT, 0, number.c_str(), &format, text.data(),
                      static_cast<int>(text.size()));
    return FromWide(text.data());
}

std::u16string DecimalSeparator() { return FromWide(LocaleText(LOCALE_SDECIMAL)); }

std::u16string FormatLongDate(double date) {
    const auto time = TimeOf(date);
    std::array<wchar_t, 256> text{};
    if (time) {
        GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_LONGDATE, &*time, nullptr, text.data(),
                        static_cast<int>(text.size()), nullptr);
    }
    return FromWide(text.data());
}

std::u16string FormatLongTime(double date) {
    const auto time = TimeOf(date);
    std::array<wchar_t, 256> text{};
    if (time) {
        GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, 0, &*time, nullptr, text.data(),
                        static_cast<int>(text.size()));
    }
    return FromWide(text.data());
}

// The system has a name for identifiers that it does not know, too.
std::u16string LanguageName(std::uint16_t language) {
    std::array<wchar_t, 256> name{};
    VerLanguageNameW(language, name.data(), static_cast<DWORD>(name.size()));
    return FromWide(name.data());
}

}  // namespace tsasync::platform
