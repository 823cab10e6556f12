#include "platform/linux/settings/settings_file.h"

#include "base/KeyFold.h"
#include "base/Utf8.h"

#include <algorithm>
#include <charconv>

namespace tsasync::platform {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kDefaultValue = "@";
constexpr std::u32string_view kReservedInNames = U"=#;[]@";
constexpr std::u32string_view kReservedInKeys = U"/[]";

void AppendEscape(std::string& line, char32_t unit) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    line += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) line += kDigits[(unit >> shift) & 0xF];
}

bool NeedsEscape(char32_t point) {
    return point < 0x20 || (point >= 0x7F && point < 0xA0) || (point >= 0x2028 && point <= 0x202E) ||
           (point >= 0x2066 && point <= 0x2069) || point == 0xFEFF || utf8::IsLeadSurrogate(point) ||
           utf8::IsTrailSurrogate(point);
}

// `text` in one line: with escapes, blanks at its ends and `reserved` characters included.
std::string Escape(std::u16string_view text, std::u32string_view reserved) {
    std::string line;
    for (std::size_t position = 0; position < text.size();) {
        const bool first = position == 0;
        const char32_t point = utf8::NextCodePoint(text, position);
        const bool atEnd = first || position == text.size();
        if (point == U'\\') {
            line += "\\\\";
        } else if (point == U'\n') {
            line += "\\n";
        } else if (point == U'\r') {
            line += "\\r";
        } else if (point == U'\t') {
            line += "\\t";
        } else if (NeedsEscape(point) || reserved.find(point) != reserved.npos || (point == U' ' && atEnd)) {
            AppendEscape(line, point);
        } else {
            utf8::Append(line, point);
        }
    }
    return line;
}

// Replaces the escape behind the "\" at `position`, which moves behind it. Nothing when it is none.
std::optional<char16_t> ReadEscape(std::string_view line, std::size_t& position) {
    const std::string_view rest = line.substr(position + 1);
    if (rest.empty()) return {};
    position += 2;
    switch (rest[0]) {
        case '\\':
            return u'\\';
        case 'n':
            return u'\n';
        case 'r':
            return u'\r';
        case 't':
            return u'\t';
        case 'u':
            break;
        default:
            return {};
    }
    if (rest.size() < 5) return {};
    unsigned unit = 0;
    const char* const end = rest.data() + 5;
    if (std::from_chars(rest.data() + 1, end, unit, 16).ptr != end) return {};
    position += 4;
    return static_cast<char16_t>(unit);
}

std::optional<std::u16string> Unescape(std::string_view line) {
    std::u16string text;
    for (std::size_t position = 0; position < line.size();) {
        if (line[position] == '\\') {
            const auto unit = ReadEscape(line, position);
            if (!unit) return {};
            text += *unit;
        } else {
            utf8::Append(text, utf8::NextCodePoint(line, position));
        }
    }
    return text;
}

std::string_view TrimBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The names of a key in one text, escaped so that different keys differ.
std::string KeyText(const std::vector<std::u16string>& key) {
    std::string text;
    for (const std::u16string& name : key) {
        if (&name != &key.front()) text += '/';
        text += Escape(name, kReservedInKeys);
    }
    return text;
}

std::string FoldedKey(const std::vector<std::u16string>& key) {
    std::vector<std::u16string> folded;
    folded.reserve(key.size());
    for (const std::u16string& name : key) folded.push_back(FoldKey(name));
    return KeyText(folded);
}

std::optional<std::string> ParseHeading(std::string_view heading) {
    std::vector<std::u16string> key;
    for (;;) {
        const auto end = std::min(heading.find('/'), heading.size());
        const auto name = Unescape(heading.substr(0, end));
        if (!name) return {};
        key.push_back(FoldKey(*name));
        if (end == heading.size()) return KeyText(key);
        heading.remove_prefix(end + 1);
    }
}

std::string FoldedName(std::u16string_view name) { return Escape(FoldKey(name), kReservedInNames); }

std::string ValueLine(std::u16string_view name, std::u16string_view text) {
    return (name.empty() ? std::string(kDefaultValue) : Escape(name, kReservedInNames)) + '=' +
           Escape(text, {});
}

// Whether the bytes are text: UTF-8 without control characters.
bool IsText(std::string_view raw) {
    return ToUtf8(FromUtf8(raw)) == raw && std::none_of(raw.begin(), raw.end(), [](char c) {
               return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
           });
}

}  // namespace

SettingsFile::Line SettingsFile::Parse(std::string_view raw, const std::string& currentKey) {
    Line line{std::string(raw), Kind::Other, currentKey, {}, {}};
    if (raw.ends_with('\r')) raw.remove_suffix(1);
    if (raw.starts_with(kByteOrderMark)) raw.remove_prefix(kByteOrderMark.size());
    if (!IsText(raw)) return line;
    const std::string_view body = TrimBlanks(raw);
    if (body.empty() || body.starts_with('#') || body.starts_with(';')) return line;

    if (body.starts_with('[')) {
        if (!body.ends_with(']') || body.size() < 3) return line;
        if (const auto key = ParseHeading(body.substr(1, body.size() - 2))) {
            line.kind = Kind::Heading;
            line.key = *key;
        }
        return line;
    }
    const auto equals = body.find('=');
    if (equals == body.npos || currentKey.empty()) return line;
    const std::string_view nameText = TrimBlanks(body.substr(0, equals));
    const auto name = nameText == kDefaultValue ? std::u16string() : Unescape(nameText);
    auto text = Unescape(TrimBlanks(body.substr(equals + 1)));
    if (!name || !text || (name->empty() && nameText != kDefaultValue)) return line;
    line.kind = Kind::Value;
    line.name = FoldedName(*name);
    line.text = std::move(*text);
    return line;
}

SettingsFile::SettingsFile(std::string_view text) {
    std::string currentKey;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        const std::string_view raw = text.substr(0, end);
        m_lines.push_back(Parse(raw, currentKey));
        const Line& line = m_lines.back();
        if (line.kind == Kind::Heading) currentKey = line.key;
        // What follows a damaged heading must not be taken for values of the key above.
        if (line.kind == Kind::Other && TrimBlanks(raw).starts_with('[')) currentKey.clear();
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::string SettingsFile::Text() const {
    std::string text;
    for (const Line& line : m_lines) (text += line.raw) += '\n';
    return text;
}

std::optional<std::u16string> SettingsFile::Read(const std::vector<std::u16string>& key,
                                                 std::u16string_view name) const {
    const auto found = std::find_if(m_lines.begin(), m_lines.end(),
                                    [k = FoldedKey(key), n = FoldedName(name)](const Line& line) {
                                        return line.kind == Kind::Value && line.key == k && line.name == n;
                                    });
    if (found == m_lines.end()) return {};
    return found->text;
}

void SettingsFile::Write(const std::vector<std::u16string>& key, std::u16string_view name,
                         std::u16string_view text) {
    const std::string folded = FoldedKey(key);
    Line line{ValueLine(name, text), Kind::Value, folded, FoldedName(name), std::u16string(text)};
    const auto isOld = [&](const Line& other) {
        return other.kind == Kind::Value && other.key == folded && other.name == line.name;
    };
    const auto old = std::find_if(m_lines.begin(), m_lines.end(), isOld);
    if (old != m_lines.end()) {
        *old = std::move(line);
        return;
    }
    const auto last = std::find_if(m_lines.rbegin(), m_lines.rend(), [&](const Line& other) {
        return other.kind != Kind::Other && other.key == folded;
    });
    const std::size_t position =
        last != m_lines.rend() ? static_cast<std::size_t>(m_lines.rend() - last) : AddHeading(key);
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(position), std::move(line));
}

bool SettingsFile::DeleteValue(const std::vector<std::u16string>& key, std::u16string_view name) {
    return std::erase_if(m_lines, [k = FoldedKey(key), n = FoldedName(name)](const Line& line) {
               return line.kind == Kind::Value && line.key == k && line.name == n;
           }) > 0;
}

bool SettingsFile::Exists(const std::vector<std::u16string>& key) const {
    const std::string folded = FoldedKey(key);
    return HasKey(folded) || HasKeyBelow(folded);
}

bool SettingsFile::DeleteKey(const std::vector<std::u16string>& key, bool parentStays) {
    const std::string folded = FoldedKey(key);
    if (HasKeyBelow(folded) || !HasKey(folded)) return false;
    std::erase_if(m_lines, [&](const Line& line) { return line.kind != Kind::Other && line.key == folded; });
    const std::vector<std::u16string> parent(key.begin(), key.end() - 1);
    if (parentStays && !Exists(parent)) AddHeading(parent);
    return true;
}

bool SettingsFile::HasKey(const std::string& folded) const {
    return std::any_of(m_lines.begin(), m_lines.end(),
                       [&](const Line& line) { return line.kind == Kind::Heading && line.key == folded; });
}

bool SettingsFile::HasKeyBelow(const std::string& folded) const {
    return std::any_of(m_lines.begin(), m_lines.end(), [prefix = folded + '/'](const Line& line) {
        return line.kind == Kind::Heading && line.key.starts_with(prefix);
    });
}

// Returns the place behind the new heading.
std::size_t SettingsFile::AddHeading(const std::vector<std::u16string>& key) {
    m_lines.push_back({'[' + KeyText(key) + ']', Kind::Heading, FoldedKey(key), {}, {}});
    return m_lines.size();
}

}  // namespace tsasync::platform
