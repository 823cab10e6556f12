#include "http_fields.h"

#include "platform/text.h"
#include "wide.h"

#include <wincrypt.h>
#include <windows.h>
#include <wininet.h>

#include <algorithm>

namespace tsasync::platform {

namespace {

constexpr std::int64_t kTicksPerMillisecond = 10'000;  // of the system's file times
constexpr std::size_t kMostDigits = 9;

std::u16string_view TrimBlanks(std::u16string_view text) {
    const auto first = text.find_first_not_of(u" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(u" \t") - first + 1);
}

// Cuts what stands before the next `separator`, or everything, off the front of `rest`.
std::u16string_view Take(std::u16string_view& rest, std::u16string_view separator) {
    const auto end = std::min(rest.find(separator), rest.size());
    const std::u16string_view taken = rest.substr(0, end);
    rest.remove_prefix(std::min(end + separator.size(), rest.size()));
    return taken;
}

// In the system's ticks since 1601.
std::int64_t Ticks(const SYSTEMTIME& time) {
    FILETIME ticks{};
    SystemTimeToFileTime(&time, &ticks);
    return static_cast<std::int64_t>(std::uint64_t{ticks.dwHighDateTime} << 32 | ticks.dwLowDateTime);
}

}  // namespace

std::u16string Lower(std::u16string_view text) {
    std::u16string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), ToLower);
    return lower;
}

std::u16string HeaderField(std::u16string_view head, std::u16string_view name) {
    while (!head.empty()) {
        std::u16string_view line = Take(head, u"\r\n");
        if (line.find(u':') == line.npos || Lower(Take(line, u":")) != name) continue;
        return std::u16string(TrimBlanks(line));
    }
    return {};
}

std::optional<std::int64_t> ParseRetryAfter(std::u16string_view value) {
    if (value.empty()) return std::nullopt;
    const bool isNumber =
        std::all_of(value.begin(), value.end(), [](char16_t c) { return c >= '0' && c <= '9'; });
    if (isNumber && value.size() <= kMostDigits) {
        std::int64_t seconds = 0;
        for (const char16_t digit : value) seconds = seconds * 10 + (digit - u'0');
        return seconds * 1000;
    }
    SYSTEMTIME date{};
    SYSTEMTIME now{};
    const std::u16string text(value);
    // The system takes any text for a date of some kind.
    const bool isDate = value.ends_with(u" GMT");
    if (!isDate || InternetTimeToSystemTimeW(Wide(text), &date, 0) == FALSE) return std::nullopt;
    GetSystemTime(&now);
    return std::max<std::int64_t>((Ticks(date) - Ticks(now)) / kTicksPerMillisecond, 0);
}

std::vector<unsigned char> ParseReprDigest(std::u16string_view value, std::u16string_view algorithm) {
    while (!value.empty()) {
        std::u16string_view member = TrimBlanks(Take(value, u","));
        if (Lower(Take(member, u"=")) != algorithm || !member.starts_with(u':')) continue;
        member.remove_prefix(1);
        return DecodeBase64(Take(member, u":"));
    }
    return {};
}

std::vector<unsigned char> DecodeBase64(std::u16string_view text) {
    const std::u16string base64(text);
    const auto length = static_cast<DWORD>(base64.size());
    std::vector<unsigned char> bytes(base64.size());
    auto size = static_cast<DWORD>(bytes.size());
    if (length == 0 || CryptStringToBinaryW(Wide(base64), length, CRYPT_STRING_BASE64, bytes.data(), &size,
                                            nullptr, nullptr) == FALSE) {
        return {};
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace tsasync::platform
