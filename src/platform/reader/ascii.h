#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What the parsers of URLs and heads need of text. They know no locale: letters are those of ASCII.
namespace tsasync::platform::reader {

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

inline bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

inline char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = Lower(c);
    return lower;
}

// Whether `text` begins with `start`, which is in lower case, whatever the letter case.
inline bool StartsWithNoCase(std::string_view text, std::string_view start) {
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(), [](char a, char b) { return a == Lower(b); });
}

inline std::string_view TrimBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Cuts what stands before the next `separator`, or everything, off the front of `rest`, and the separator.
inline std::string_view Take(std::string_view& rest, char separator) {
    const std::size_t end = std::min(rest.find(separator), rest.size());
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return taken;
}

// A whole number from 0 on, nothing else around it.
inline std::optional<std::int64_t> ParseNumber(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.front() == '-') return std::nullopt;
    return value;
}

// -1 when it is none.
inline int HexValue(char digit) {
    if (IsDigit(digit)) return digit - '0';
    const char lower = Lower(digit);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// With the bytes that its escapes ("%2F") stand for.
inline std::string Unescape(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape =
            text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0;
        if (isEscape) {
            bytes.push_back(static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2])));
            i += 2;
        } else {
            bytes.push_back(text[i]);
        }
    }
    return bytes;
}

}  // namespace tsasync::platform::reader
