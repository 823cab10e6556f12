#include "base/Utf8.h"

#include <cstdint>

namespace tsasync {

char32_t utf8::NextCodePoint(std::u16string_view text, std::size_t& position) {
    const char32_t unit = text[position++];
    if (!IsLeadSurrogate(unit) || position == text.size() || !IsTrailSurrogate(text[position])) return unit;
    return 0x10000 + ((unit - 0xD800) << 10) + (static_cast<char32_t>(text[position++]) - 0xDC00);
}

char32_t utf8::NextCodePoint(std::string_view text, std::size_t& position) {
    const auto lead = static_cast<std::uint8_t>(text[position++]);
    if (lead < 0x80) return lead;
    if (lead < 0xC2 || lead > 0xF4) return kReplacement;
    int trailBytes = 1;
    if (lead >= 0xE0) trailBytes = 2;
    if (lead >= 0xF0) trailBytes = 3;
    char32_t point = lead & (0x3Fu >> trailBytes);
    for (int i = 0; i < trailBytes; ++i, ++position) {
        if (position == text.size()) return kReplacement;
        const auto byte = static_cast<std::uint8_t>(text[position]);
        std::uint8_t low = 0x80;
        std::uint8_t high = 0xBF;
        if (i == 0 && lead == 0xE0) low = 0xA0;   // else longer than needed
        if (i == 0 && lead == 0xF0) low = 0x90;   // likewise
        if (i == 0 && lead == 0xF4) high = 0x8F;  // else above U+10FFFF
        if (byte < low || byte > high) return kReplacement;
        point = (point << 6) | (byte & 0x3Fu);
    }
    return point;
}

void utf8::Append(std::string& bytes, char32_t point) {
    const auto trail = [&](int shift) { bytes += static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        bytes += static_cast<char>(point);
    } else if (point < 0x800) {
        bytes += static_cast<char>(0xC0 | (point >> 6));
        trail(0);
    } else if (point < 0x10000) {
        bytes += static_cast<char>(0xE0 | (point >> 12));
        trail(6);
        trail(0);
    } else {
        bytes += static_cast<char>(0xF0 | (point >> 18));
        trail(12);
        trail(6);
        trail(0);
    }
}

void utf8::Append(std::u16string& units, char32_t point) {
    if (point < 0x10000) {
        units += static_cast<char16_t>(point);
    } else {
        units += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        units += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
}

std::string ToUtf8(std::u16string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        utf8::Append(bytes, utf8::NextCodePoint(text, position));
    }
    return bytes;
}

std::u16string FromUtf8(std::string_view bytes) {
    std::u16string text;
    text.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();) {
        utf8::Append(text, utf8::NextCodePoint(bytes, position));
    }
    return text;
}

}  // namespace tsasync
