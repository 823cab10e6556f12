#include "comrt/date_text.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace tsasync::comrt {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days kDayZero{std::chrono::year{1899} / 12 / 30};
constexpr double kFirstDay = -657434;  // 1 January 100
constexpr double kEnd = 2958466;       // 1 January 10000
constexpr int kSecondsPerDay = 86400;

bool IsDigit(char unit) { return unit >= '0' && unit <= '9'; }

// The number at the places of `text` where `form` has the letter `field`; -1 when one of them is no digit.
int Field(std::string_view text, std::string_view form, char field) {
    int value = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (form[i] != field) continue;
        if (!IsDigit(text[i])) return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

}  // namespace

bool IsDate(double value) { return value > kFirstDay - 1 && value < kEnd; }

std::string DateText(DATE date) {
    double day = std::trunc(date);
    // Before day zero, too, the fraction counts forward from midnight.
    long second = std::lround(std::abs(date - day) * kSecondsPerDay);
    if (second == kSecondsPerDay) {
        second = 0;
        day += 1;
    }
    const year_month_day civil{kDayZero + days{static_cast<int>(day)}};
    char text[40];
    int length = std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(civil.year()),
                               static_cast<unsigned>(civil.month()), static_cast<unsigned>(civil.day()));
    if (second != 0) {
        length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length),
                                " %02ld:%02ld:%02ld", second / 3600, second / 60 % 60, second % 60);
    }
    return {text, static_cast<std::size_t>(length)};
}

std::optional<DATE> ParseDate(std::string_view text) {
    constexpr std::string_view kForm = "yyyy-mm-dd HH:MM:SS";
    if (text.size() != 10 && text.size() != 16 && text.size() != 19) return {};
    const std::string_view form = kForm.substr(0, text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool separator = form[i] == '-' || form[i] == ':' || form[i] == ' ';
        if (separator && text[i] != form[i]) return {};
    }
    const int year = Field(text, form, 'y');
    const int month = Field(text, form, 'm');
    const int dayOfMonth = Field(text, form, 'd');
    const int hour = Field(text, form, 'H');
    const int minute = Field(text, form, 'M');
    const int second = Field(text, form, 'S');
    const bool whole =
        year >= 100 && month >= 0 && dayOfMonth >= 0 && hour >= 0 && minute >= 0 && second >= 0;
    if (!whole || hour > 23 || minute > 59 || second > 59) return {};
    const year_month_day civil{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                               std::chrono::day{static_cast<unsigned>(dayOfMonth)}};
    if (!civil.ok()) return {};
    const double day = static_cast<double>((sys_days{civil} - kDayZero).count());
    const double fraction = (hour * 3600 + minute * 60 + second) / double{kSecondsPerDay};
    return day < 0 ? day - fraction : day + fraction;
}

}  // namespace tsasync::comrt
