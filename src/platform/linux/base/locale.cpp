#include "platform/locale.h"

#include <glib.h>
#include <langinfo.h>
#include <locale.h>
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

// The locale of a value like "de_AT.UTF-8"; bogus for "C" and "POSIX".
icu::Locale Parse(const char* value) {
    icu::Locale locale;
    const std::string_view name = std::string_view(value).substr(0, std::string_view(value).find('.'));
    if (name != "C" && name != "POSIX") locale = icu::Locale::createCanonical(value);
    if (name == "C" || name == "POSIX" || *locale.getLanguage() == '\0') locale.setToBogus();
    return locale;
}

struct Category {
    nl_item name;          // what tells how its locale is called
    const char* variable;  // of the environment
};
constexpr Category kMessages{_NL_LOCALE_NAME(LC_MESSAGES), "LC_MESSAGES"};
constexpr Category kNumeric{_NL_LOCALE_NAME(LC_NUMERIC), "LC_NUMERIC"};
constexpr Category kTime{_NL_LOCALE_NAME(LC_TIME), "LC_TIME"};

// The locale that the process has set, else, since many hosts set none, that of the environment; bogus for
// none.
icu::Locale Named(const Category& category) {
    // A copy of its own can't change while it is read.
    const locale_t now = duplocale(uselocale(nullptr));
    icu::Locale locale = Parse(nl_langinfo_l(category.name, now));
    freelocale(now);
    for (const char* variable : {"LC_ALL", category.variable, "LANG"}) {
        const char* const value = locale.isBogus() ? g_getenv(variable) : nullptr;
        if (value != nullptr && *value != '\0') return Parse(value);
    }
    return locale;
}

// English (United States) where none is named: formats are always those of some locale.
icu::Locale FormatLocale(const Category& category) {
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
    icu::Locale locale = Named(kMessages);
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
    const auto text = icu::number::NumberFormatter::withLocale(FormatLocale(kNumeric))
                          .precision(icu::number::Precision::fixedFraction(decimals))
                          .roundingMode(UNUM_ROUND_HALFEVEN)
                          .grouping(grouped ? UNUM_GROUPING_ON_ALIGNED : UNUM_GROUPING_OFF)
                          .formatDouble(value, status)
                          .toString(status);
    return U_SUCCESS(status) ? Text(text) : std::u16string();
}

std::u16string DecimalSeparator() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::DecimalFormatSymbols symbols(FormatLocale(kNumeric), status);
    return Text(symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol));
}

std::u16string FormatLongDate(double date) {
    return Format(std::unique_ptr<icu::DateFormat>(
                      icu::DateFormat::createDateInstance(icu::DateFormat::kFull, FormatLocale(kTime))),
                  date);
}

std::u16string FormatLongTime(double date) {
    return Format(std::unique_ptr<icu::DateFormat>(
                      icu::DateFormat::createTimeInstance(icu::DateFormat::kMedium, FormatLocale(kTime))),
                  date);
}

std::u16string LanguageName(std::uint16_t language) {
    std::array<char, ULOC_FULLNAME_CAPACITY> name{};
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLocaleForLCID(language, name.data(), static_cast<std::int32_t>(name.size() - 1), &status);
    if (language == 0 || U_FAILURE(status) || name[0] == '\0')
        return u"Language Neutral";  // as Windows says it
    icu::UnicodeString text;
    icu::Locale(name.data()).getDisplayName(FormatLocale(kMessages), text);
    return Text(text);
}

}  // namespace tsasync::platform
