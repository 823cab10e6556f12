#include "platform/locale.h"

#include <glib.h>
#include <unicode/calendar.h>
#include <unicode/datefmt.h>
#include <unicode/dcfmtsym.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uloc.h>

#include <array>
#include <cmath>
#include <memory>

namespace tsasync::platform {

namespace {

constexpr double kUnixEpoch = 25569;  // 1 January 1970 as an automation date
constexpr double kMillisecondsPerDay = 86400000;
constexpr double kFirstDate = -657434;   // 1 January 100
constexpr double kEndOfDates = 2958466;  // 1 January 10000

std::u16string Text(const icu::UnicodeString& text) {
    return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

// The locale that the environment names for `category` ("LC_TIME" …); bogus for none, "C" and "POSIX".
icu::Locale Named(const char* category) {
    icu::Locale unknown;
    unknown.setToBogus();
    for (const char* variable : {"LC_ALL", category, "LANG"}) {
        const char* const value = g_getenv(variable);
        if (value == nullptr || *value == '\0') continue;
        const std::string_view name = std::string_view(value).substr(0, std::string_view(value).find('.'));
        if (name == "C" || name == "POSIX") return unknown;
        const icu::Locale locale = icu::Locale::createCanonical(value);
        return *locale.getLanguage() == '\0' ? unknown : locale;
    }
    return unknown;
}

// English (United States) where none is named: formats are always those of some locale.
icu::Locale FormatLocale(const char* category) {
    const icu::Locale locale = Named(category);
    return locale.isBogus() ? icu::Locale::getUS() : locale;
}

// The local date and time as if it were one of UTC; a date below zero carries its time of day forward.
double Milliseconds(double date) {
    const double day = std::trunc(date);
    return (day - kUnixEpoch + std::abs(date - day)) * kMillisecondsPerDay;
}

std::u16string Format(std::unique_ptr<icu::DateFormat> format, double date) {
    if (format == nullptr || !(date > kFirstDate - 1 && date < kEndOfDates)) return {};
    format->adoptTimeZone(icu::TimeZone::getGMT()->clone());
    // Automation dates count in today's calendar however far back.
    auto* const calendar = dynamic_cast<icu::GregorianCalendar*>(
        const_cast<icu::Calendar*>(format->getCalendar()));  // the format owns it and offers no other way in
    UErrorCode status = U_ZERO_ERROR;
    if (calendar != nullptr) calendar->setGregorianChange(-1e15, status);
    icu::UnicodeString text;
    format->format(std::round(Milliseconds(date)), text);
    return U_SUCCESS(status) ? Text(text) : std::u16string();
}

}  // namespace

std::int32_t UserDefaultLanguage() {
    icu::Locale locale = Named("LC_MESSAGES");
    if (locale.isBogus()) return 0;
    if (*locale.getCountry() == '\0') {  // "de" alone: where most of its speakers live
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale likely = locale;
        likely.addLikelySubtags(status);
        if (U_SUCCESS(status)) locale = icu::Locale(locale.getLanguage(), likely.getCountry());
    }
    return static_cast<std::int32_t>(locale.getLCID());
}

std::u16string FormatNumber(double value, int decimals, bool grouped) {
    UErrorCode status = U_ZERO_ERROR;
    const auto text = icu::number::NumberFormatter::withLocale(FormatLocale("LC_NUMERIC"))
                          .precision(icu::number::Precision::fixedFraction(decimals))
                          .roundingMode(UNUM_ROUND_HALFEVEN)
                          .grouping(grouped ? UNUM_GROUPING_ON_ALIGNED : UNUM_GROUPING_OFF)
                          .formatDouble(value, status)
                          .toString(status);
    return U_SUCCESS(status) ? Text(text) : std::u16string();
}

std::u16string DecimalSeparator() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::DecimalFormatSymbols symbols(FormatLocale("LC_NUMERIC"), status);
    return Text(symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol));
}

std::u16string FormatLongDate(double date) {
    return Format(std::unique_ptr<icu::DateFormat>(
                      icu::DateFormat::createDateInstance(icu::DateFormat::kFull, FormatLocale("LC_TIME"))),
                  date);
}

std::u16string FormatLongTime(double date) {
    return Format(std::unique_ptr<icu::DateFormat>(
                      icu::DateFormat::createTimeInstance(icu::DateFormat::kMedium, FormatLocale("LC_TIME"))),
                  date);
}

std::u16string LanguageName(std::uint16_t language) {
    std::array<char, ULOC_FULLNAME_CAPACITY> name{};
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLocaleForLCID(language, name.data(), static_cast<std::int32_t>(name.size() - 1), &status);
    if (language == 0 || U_FAILURE(status) || name[0] == '\0') return {};
    icu::UnicodeString text;
    icu::Locale(name.data()).getDisplayName(FormatLocale("LC_MESSAGES"), text);
    return Text(text);
}

}  // namespace tsasync::platform
