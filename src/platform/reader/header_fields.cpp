#include "platform/reader/header_fields.h"

#include "platform/reader/ascii.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>

namespace tsasync::platform::reader {

namespace {

bool IsToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return IsLetter(c) || IsDigit(c) ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

// -1 when it is none.
int Base64Value(char c) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t value = kDigits.find(c);
    return value == kDigits.npos ? -1 : static_cast<int>(value);
}

// The bytes that `base64` stands for; empty unless they are exactly `size`.
std::string DecodeDigest(std::string_view base64, std::size_t size) {
    if (base64.size() != (size + 2) / 3 * 4) return {};
    const std::size_t digits = (size * 8 + 5) / 6;
    if (base64.substr(digits).find_first_not_of('=') != base64.npos) return {};
    std::string bytes;
    std::uint32_t bits = 0;
    int available = 0;
    for (const char c : base64.substr(0, digits)) {
        const int value = Base64Value(c);
        if (value < 0) return {};
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        available += 6;
        if (available < 8) continue;
        available -= 8;
        bytes.push_back(static_cast<char>(bits >> available & 0xFF));
    }
    return bytes;
}

// 1 to 12 of a month's first three letters; 0 when they are none.
unsigned MonthOf(std::string_view name) {
    constexpr std::string_view kMonths = "janfebmaraprmayjunjulaugsepoctnovdec";
    const std::size_t at = name.size() == 3 ? kMonths.find(Lower(name)) : kMonths.npos;
    return at == kMonths.npos || at % 3 != 0 ? 0 : static_cast<unsigned>(at / 3 + 1);
}

// Seconds of "hh:mm:ss" since midnight.
std::optional<std::int64_t> ParseTimeOfDay(std::string_view text) {
    if (text.size() != 8 || text[2] != ':' || text[5] != ':') return std::nullopt;
    const auto hour = ParseNumber(text.substr(0, 2));
    const auto minute = ParseNumber(text.substr(3, 2));
    const auto second = ParseNumber(text.substr(6, 2));
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
    return (*hour * 60 + *minute) * 60 + *second;
}

}  // namespace

std::optional<ContentRange> ParseContentRange(std::string_view value) {
    value = TrimBlanks(value);
    if (!StartsWithNoCase(value, "bytes ")) return std::nullopt;
    value = TrimBlanks(value.substr(6));
    const std::size_t slash = value.find('/');
    if (slash == value.npos) return std::nullopt;
    ContentRange range;
    const std::string_view total = value.substr(slash + 1);
    if (total != "*" && !(range.total = ParseNumber(total))) return std::nullopt;
    const std::string_view part = value.substr(0, slash);
    if (part == "*") return range.total ? std::optional(range) : std::nullopt;
    const std::size_t dash = part.find('-');
    if (dash == part.npos) return std::nullopt;
    range.first = ParseNumber(part.substr(0, dash));
    range.last = ParseNumber(part.substr(dash + 1));
    if (!range.first || !range.last || *range.last < *range.first) return std::nullopt;
    if (range.total && *range.last >= *range.total) return std::nullopt;
    return range;
}

std::string ParseMediaType(std::string_view value) {
    const std::string_view type = TrimBlanks(value.substr(0, value.find(';')));
    const std::size_t slash = type.find('/');
    if (slash == type.npos || !IsToken(type.substr(0, slash)) || !IsToken(type.substr(slash + 1))) return {};
    return Lower(type);
}

// "Sun, 06 Nov 1994 08:49:37 GMT", or an older form: "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37
// 1994".
std::optional<std::int64_t> ParseDate(std::string_view value) {
    using namespace std::chrono;
    std::array<std::string_view, 5> words;  // without the day of the week
    std::size_t count = 0;
    const std::size_t weekday = std::min(value.find_first_of(", "), value.size());
    for (value.remove_prefix(weekday); !value.empty();) {
        const std::size_t first = std::min(value.find_first_not_of(", -"), value.size());
        value.remove_prefix(first);
        const std::string_view word = value.substr(0, value.find_first_of(", -"));
        value.remove_prefix(word.size());
        if (word.empty()) continue;
        if (count == words.size()) return std::nullopt;
        words[count++] = word;
    }
    const bool monthFirst = count == 4;
    if (!monthFirst && (count != 5 || words[4] != "GMT")) return std::nullopt;
    const auto dayOfMonth = ParseNumber(words[monthFirst ? 1 : 0]);
    const unsigned monthNumber = MonthOf(words[monthFirst ? 0 : 1]);
    auto yearNumber = ParseNumber(words[monthFirst ? 3 : 2]);
    const auto timeOfDay = ParseTimeOfDay(words[monthFirst ? 2 : 3]);
    if (!dayOfMonth || *dayOfMonth > 31 || monthNumber == 0 || !yearNumber || *yearNumber > 9999 ||
        !timeOfDay)
        return std::nullopt;
    if (words[2].size() == 2) *yearNumber += *yearNumber < 70 ? 2000 : 1900;
    const year_month_day date(year(static_cast<int>(*yearNumber)), month(monthNumber),
                              day(static_cast<unsigned>(*dayOfMonth)));
    if (!date.ok()) return std::nullopt;
    return std::int64_t{sys_days(date).time_since_epoch().count()} * 86'400 + *timeOfDay;
}

std::optional<std::int64_t> ParseRetryAfter(std::string_view value, std::int64_t now) {
    value = TrimBlanks(value);
    if (!value.empty() && std::all_of(value.begin(), value.end(), IsDigit))
        return ParseNumber(value).value_or(std::numeric_limits<std::int64_t>::max());
    const auto date = ParseDate(value);
    return date ? std::optional(std::max<std::int64_t>(*date - now, 0)) : std::nullopt;
}

void ParseReprDigest(std::string_view value, Digests& digests) {
    while (!value.empty()) {
        std::string_view item = TrimBlanks(Take(value, ','));
        const std::string name = Lower(Take(item, '='));
        if (!item.starts_with(':')) continue;
        const std::size_t end = item.find(':', 1);
        if (end == item.npos) continue;
        const std::string_view base64 = item.substr(1, end - 1);
        if (name == "sha-256") digests.sha256 = DecodeDigest(base64, 32);
        if (name == "sha-512") digests.sha512 = DecodeDigest(base64, 64);
    }
}

void ParseContentMd5(std::string_view value, Digests& digests) {
    digests.md5 = DecodeDigest(TrimBlanks(value), 16);
}

}  // namespace tsasync::platform::reader
