#include "naming/UrlNameParser.h"

#include "base/KeyFold.h"
#include "base/Utf8.h"

#include <algorithm>
#include <array>

namespace tsasync {

namespace {

constexpr std::u16string_view kSeparators = u"/\\";
constexpr std::size_t kLongestName = 200;  // bytes of UTF-8
constexpr std::size_t kLongestExtension =
    32;  // with its dot; what is longer is no extension but text with a dot

// The parts of a URL or path, as they stand in it.
struct UrlParts {
    std::u16string_view host;
    std::u16string_view lastSegment;
    bool escaped =
        true;  // false for a path of a file system, where "%", "?" and "#" are characters like others
};

bool IsLetter(char16_t unit) { return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z'); }

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// The length of the scheme that `url` begins with, without its colon; 0 when there is none.
std::size_t SchemeLength(std::u16string_view url) {
    if (url.empty() || !IsLetter(url[0])) return 0;
    const auto end = std::find_if(url.begin(), url.end(), [](char16_t unit) {
        return !IsLetter(unit) && !IsDigit(unit) && unit != u'+' && unit != u'-' && unit != u'.';
    });
    return end != url.end() && *end == u':' ? static_cast<std::size_t>(end - url.begin()) : 0;
}

std::u16string_view WithoutUserAndPort(std::u16string_view authority) {
    const auto at = authority.rfind(u'@');
    if (at != authority.npos) authority.remove_prefix(at + 1);
    if (authority.starts_with(u'[')) {
        const auto close = authority.find(u']');
        return close == authority.npos ? authority : authority.substr(0, close + 1);
    }
    return authority.substr(0, authority.find(u':'));
}

bool IsSeparatorAt(std::u16string_view text, std::size_t position) {
    return position < text.size() && kSeparators.find(text[position]) != kSeparators.npos;
}

UrlParts TakeApart(std::u16string_view url) {
    UrlParts parts;
    const auto first = std::find_if(url.begin(), url.end(), [](char16_t unit) { return unit > u' '; });
    url.remove_prefix(static_cast<std::size_t>(first - url.begin()));

    const std::size_t scheme = SchemeLength(url);
    const bool drive = scheme == 1;  // "C:\folder\file": no scheme has one letter
    parts.escaped = !drive && !url.starts_with(u"\\\\");
    if (parts.escaped) url = url.substr(0, url.find_first_of(u"?#"));
    if (scheme > 0) {
        url.remove_prefix(scheme + 1);
        // What follows the scheme of data:, mailto: and the like is no path and names no file.
        if (!drive && !IsSeparatorAt(url, 0)) return parts;
    }
    if (!drive && IsSeparatorAt(url, 0) && IsSeparatorAt(url, 1)) {
        url.remove_prefix(2);
        const auto end = std::min(url.find_first_of(kSeparators), url.size());
        parts.host = WithoutUserAndPort(url.substr(0, end));
        url.remove_prefix(end);
    }
    const auto last = url.find_last_of(kSeparators);
    parts.lastSegment = last == url.npos ? url : url.substr(last + 1);
    return parts;
}

int HexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// `segment` with its escapes replaced; as it stands when what they stand for is not UTF-8.
std::u16string Unescape(std::u16string_view segment) {
    const std::string escaped = ToUtf8(segment);
    std::string bytes;
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        const bool isEscape = escaped[i] == '%' && i + 2 < escaped.size() && HexValue(escaped[i + 1]) >= 0 &&
                              HexValue(escaped[i + 2]) >= 0;
        if (isEscape) {
            bytes += static_cast<char>(HexValue(escaped[i + 1]) * 16 + HexValue(escaped[i + 2]));
            i += 2;
        } else {
            bytes += escaped[i];
        }
    }
    std::u16string text = FromUtf8(bytes);
    return ToUtf8(text) == bytes ? text : std::u16string(segment);
}

// Characters that are not seen, and make the text around them look like another one or end early.
bool IsDeceptive(char32_t point) {
    return point < 0x20 || (point >= 0x7F && point < 0xA0) ||       // controls
           point == 0x61C || point == 0x200E || point == 0x200F ||  // direction marks
           (point >= 0x2028 && point <= 0x202E) ||           // line ends, direction embeddings, overrides
           (point >= 0x2066 && point <= 0x2069) ||           // direction isolates
           point == 0xFEFF || (point & 0xFFFE) == 0xFFFE ||  // byte order mark, noncharacters
           (point >= 0xFDD0 && point <= 0xFDEF);
}

// `text` with "_" for each deceptive character and each of `forbidden`.
std::u16string WithoutUnsafe(std::u16string_view text, std::u32string_view forbidden) {
    std::u16string safe;
    for (std::size_t position = 0; position < text.size();) {
        char32_t point = utf8::NextCodePoint(text, position);
        if (IsDeceptive(point) || forbidden.find(point) != forbidden.npos) point = U'_';
        if (utf8::IsLeadSurrogate(point) || utf8::IsTrailSurrogate(point)) point = utf8::kReplacement;
        utf8::Append(safe, point);
    }
    return safe;
}

std::u16string_view TrimmedRight(std::u16string_view text) {
    return text.substr(0, text.find_last_not_of(u". ") + 1);
}

// Without dots and blanks at the beginning, at the end and before a dot, so that the part before any dot is a
// good name too: callers put another extension behind it.
std::u16string Tidied(std::u16string_view text) {
    std::u16string name;
    for (const char16_t unit : text) {
        while (unit == u'.' && !name.empty() && (name.back() == u'.' || name.back() == u' ')) name.pop_back();
        name += unit;
    }
    name.erase(0, name.find_first_not_of(u". "));
    name.resize(TrimmedRight(name).size());
    return name;
}

// The extension of `name` with its dot; empty when there is none.
std::u16string_view ExtensionOf(std::u16string_view name) {
    const auto dot = name.rfind(u'.');
    if (dot == name.npos || ToUtf8(name.substr(dot)).size() > kLongestExtension) return {};
    return name.substr(dot);
}

// The longest beginning of `text` of at most `bytes` bytes that cuts no character.
std::u16string_view CutTo(std::u16string_view text, std::size_t bytes) {
    std::size_t used = 0;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t point = utf8::NextCodePoint(text, position);
        used += point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
        if (used > bytes) return text.substr(0, start);
    }
    return text;
}

// Names that mean a device on Windows, whatever extension they carry.
bool IsDeviceName(std::u16string_view name) {
    constexpr std::array<std::u16string_view, 7> kDevices = {u"con",    u"prn",     u"aux",   u"nul",
                                                             u"conin$", u"conout$", u"clock$"};
    const std::u16string folded = FoldKey(TrimmedRight(name.substr(0, name.find(u'.'))));
    if (std::find(kDevices.begin(), kDevices.end(), folded) != kDevices.end()) return true;
    constexpr std::u16string_view kPortDigits = u"0123456789\u00B9\u00B2\u00B3";
    return folded.size() == 4 && (folded.starts_with(u"com") || folded.starts_with(u"lpt")) &&
           kPortDigits.find(folded[3]) != kPortDigits.npos;
}

std::u16string SafeFileName(const UrlParts& parts) {
    const std::u16string text =
        parts.escaped ? Unescape(parts.lastSegment) : std::u16string(parts.lastSegment);
    std::u16string name = Tidied(WithoutUnsafe(text, U"/\\<>:\"|?*"));
    if (IsDeviceName(name)) name.insert(name.begin(), u'_');

    const std::u16string_view extension = ExtensionOf(name);
    const std::u16string_view stem = std::u16string_view(name).substr(0, name.size() - extension.size());
    std::u16string result(TrimmedRight(CutTo(stem, kLongestName - ToUtf8(extension).size())));
    result += extension;
    return result;
}

}  // namespace

void UrlNameParser::SetUrl(std::u16string_view url) {
    const UrlParts parts = TakeApart(url);
    m_sHostName = WithoutUnsafe(parts.host, {});
    m_sFileName = SafeFileName(parts);
}

}  // namespace tsasync
