#include "platform/windows/moniker/http_fields.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace tsasync::platform {

namespace {

constexpr std::u16string_view kMonths = u"JanFebMarAprMayJunJulAugSepOctNovDec";

std::u16string_view TrimBlanks(std::u16string_view text) {
    const auto first = text.find_first_not_of(u" \t\r");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(u" \t\r") - first + 1);
}

// Cuts what stands before the next `separator`, or everything, off the front of `rest`.
std::u16string_view Take(std::u16string_view& rest, std::u16string_view separator) {
    const auto end = std::min(rest.find(separator), rest.size());
    const std::u16string_view taken = rest.substr(0, end);
    rest.remove_prefix(std::min(end + separator.size(), rest.size()));
    return taken;
}

// A whole number from 0 on, nothing else around it. One that is too large counts as the largest.
std::optional<std::int64_t> ParseNumber(std::u16string_view text) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    if (text.empty()) return std::nullopt;
    std::int64_t number = 0;
    for (const char16_t c : text) {
        if (c < u'0' || c > u'9') return std::nullopt;
        const int digit = c - u'0';
        number = number > (kLargest - digit) / 10 ? kLargest : number * 10 + digit;
    }
    return number;
}

// "Sun, 06 Nov 1994 08:49:37 GMT" in seconds since 1970.
std::optional<std::int64_t> ParseDate(std::u16string_view text) {
    using namespace std::chrono;
    constexpr std::u16string_view kForm = u"???, ?? ??? ???? ??:??:?? GMT";
    if (text.size() != kForm.size()) return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kForm[i] != u'?' && kForm[i] != text[i]) return std::nullopt;
    }
    const auto number = [&](std::size_t begin, std::size_t size) {
        return ParseNumber(text.substr(begin, size));
    };
    const auto dayOfMonth = number(5, 2);
    const auto month = kMonths.find(text.substr(8, 3));
    const auto yearNumber = number(12, 4);
    const auto hour = number(17, 2);
    const auto minute = number(20, 2);
    const auto second = number(23, 2);
    if (!dayOfMonth || month == kMonths.npos || month % 3 != 0 || !yearNumber || !hour || !minute || !second)
        return std::nullopt;
    const year_month_day date(year(static_cast<int>(*yearNumber)),
                              std::chrono::month(static_cast<unsigned>(month / 3 + 1)),
                              day(static_cast<unsigned>(*dayOfMonth)));
    if (!date.ok() || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
    const std::int64_t days = sys_days(date).time_since_epoch().count();
    return ((days * 24 + *hour) * 60 + *minute) * 60 + *second;
}

void Join(std::u16string& list, std::u16string_view value) {
    if (!list.empty()) list += u", ";
    list += value;
}

void AddField(ResponseHead& head, const std::u16string& name, std::u16string_view value) {
    if (name == u"content-length") {
        const auto length = ParseNumber(value);
        const bool isOther = head.contentLength && head.contentLength != length;
        if (!length || isOther || length == std::numeric_limits<std::int64_t>::max()) head.isSound = false;
        head.contentLength = length;
    } else if (name == u"transfer-encoding") {
        head.isChunked = Lower(value) == u"chunked";
        if (!head.isChunked) head.isSound = false;
    } else if (name == u"content-encoding") {
        if (Lower(value) != u"identity") Join(head.contentEncoding, Lower(value));
    } else if (name == u"location") {
        head.location = value;
    } else if (name == u"retry-after") {
        head.retryAfter = value;
    } else if (name == u"repr-digest") {
        Join(head.reprDigest, value);
    } else if (name == u"content-md5") {
        head.contentMd5 = value;
    }
}

}  // namespace

std::u16string Lower(std::u16string_view text) {
    std::u16string lower(text);
    for (char16_t& c : lower) {
        if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
    }
    return lower;
}

ResponseHead ParseHead(std::u16string_view text) {
    ResponseHead head;
    head.isSound = text.size() <= ResponseHead::kMaxSize;
    Take(text, u"\n");  // the status
    while (!text.empty()) {
        std::u16string_view line = Take(text, u"\n");
        // A line that begins with a blank goes on with the one before; no field that counts is so long.
        const bool goesOn = line.starts_with(u' ') || line.starts_with(u'\t');
        if (goesOn || TrimBlanks(line).empty()) continue;
        if (line.find(u':') == line.npos) {
            head.isSound = false;
            continue;
        }
        const std::u16string name = Lower(TrimBlanks(Take(line, u":")));
        AddField(head, name, TrimBlanks(line));
    }
    return head;
}

std::optional<std::int64_t> ParseRetryAfter(std::u16string_view value, std::int64_t now) {
    if (const auto seconds = ParseNumber(value)) return seconds;
    const auto date = ParseDate(value);
    return date ? std::optional(std::max<std::int64_t>(*date - now, 0)) : std::nullopt;
}

std::u16string ParseReprDigest(std::u16string_view value, std::u16string_view algorithm) {
    while (!value.empty()) {
        std::u16string_view member = TrimBlanks(Take(value, u","));
        if (Lower(Take(member, u"=")) != algorithm || !member.starts_with(u':')) continue;
        member.remove_prefix(1);
        if (member.find(u':') == member.npos) continue;
        return std::u16string(Take(member, u":"));
    }
    return {};
}

}  // namespace tsasync::platform
