#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The core's UTF-16 as UTF-8 and back. No text is lost on the way out: an unpaired surrogate becomes the
// three bytes that its number would have, and comes back from them.
namespace tsasync {

namespace utf8 {

inline constexpr char32_t kReplacement = 0xFFFD;

inline bool IsLeadSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool IsTrailSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

// The code point (or the unpaired surrogate) at `position`, which moves behind it.
char32_t NextCodePoint(std::u16string_view text, std::size_t& position);
// The same for bytes; `kReplacement` for what can't belong to a character, as far as it can't.
char32_t NextCodePoint(std::string_view text, std::size_t& position);

void Append(std::string& bytes, char32_t point);
void Append(std::u16string& units, char32_t point);

}  // namespace utf8

std::string ToUtf8(std::u16string_view text);

// Each byte sequence that is no character becomes one U+FFFD.
std::u16string FromUtf8(std::string_view bytes);

}  // namespace tsasync
