#include "platform/reader/source_url.h"

#include "platform/host_name.h"
#include "platform/reader/ascii.h"
#include "platform/reader/failure.h"
#include "platform/reader/partial_meta.h"

#include <algorithm>
#include <optional>

namespace tsasync::platform::reader {

namespace {

// A URL or a reference to one in its components (RFC 3986), as they stand in it. What is nothing is not there
// at all, which is another thing than being empty.
struct Components {
    std::optional<std::string> scheme;  // in lower case
    std::optional<std::string> authority;
    std::string path;
    std::optional<std::string> query;
    std::optional<std::string> fragment;
};

bool IsSchemeName(std::string_view text) {
    return !text.empty() && IsLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
        return IsLetter(c) || IsDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

Components Split(std::string_view text) {
    Components parts;
    if (const std::size_t colon = text.find(':'); colon != text.npos && IsSchemeName(text.substr(0, colon))) {
        parts.scheme = Lower(text.substr(0, colon));
        text.remove_prefix(colon + 1);
    }
    if (const std::size_t hash = text.find('#'); hash != text.npos) {
        parts.fragment = text.substr(hash + 1);
        text = text.substr(0, hash);
    }
    if (const std::size_t mark = text.find('?'); mark != text.npos) {
        parts.query = text.substr(mark + 1);
        text = text.substr(0, mark);
    }
    if (text.starts_with("//")) {
        const std::size_t end = std::min(text.find('/', 2), text.size());
        parts.authority = text.substr(2, end - 2);
        text.remove_prefix(end);
    }
    parts.path = text;
    return parts;
}

std::string Join(const Components& parts) {
    std::string text;
    if (parts.scheme) text += *parts.scheme + ":";
    if (parts.authority) text += "//" + *parts.authority;
    text += parts.path;
    if (parts.query) text += "?" + *parts.query;
    if (parts.fragment) text += "#" + *parts.fragment;
    return text;
}

// The absolute `path` without its segments "." and "..".
std::string WithoutDots(std::string_view path) {
    std::string result;
    while (!path.empty()) {
        path.remove_prefix(1);  // the slash
        const std::string_view segment = path.substr(0, path.find('/'));
        path.remove_prefix(segment.size());
        if (segment == "..") result.resize(result.empty() ? 0 : result.rfind('/'));
        if (segment != "." && segment != "..") result.append("/").append(segment);
        if ((segment == "." || segment == "..") && path.empty()) result += '/';
    }
    return result;
}

// What `reference` means in the document `base` (RFC 3986, 5.2.2).
Components Resolve(const Components& base, Components reference) {
    if (reference.scheme) return reference;
    reference.scheme = base.scheme;
    if (reference.authority) return reference;
    reference.authority = base.authority;
    if (reference.path.empty()) {
        reference.path = base.path;
        if (!reference.query) reference.query = base.query;
    } else if (!reference.path.starts_with('/')) {
        reference.path.insert(0, base.path, 0, base.path.rfind('/') + 1);
    }
    return reference;
}

void AppendEscape(std::string& escaped, char c) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    escaped.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
}

// With escapes for all that is not visible ASCII; `keepLetters`: but for the bytes above ASCII.
std::string Escape(std::string_view text, bool keepLetters = false) {
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isOther = byte > 0x7F && !keepLetters;
        if (byte <= 0x20 || byte == 0x7F || c == '"' || c == '<' || c == '>' || isOther)
            AppendEscape(escaped, c);
        else
            escaped.push_back(c);
    }
    return escaped;
}

// With escapes for all that could end a user's name or password.
std::string EscapeUser(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (IsLetter(c) || IsDigit(c) || c == '-' || c == '.' || c == '_' || c == '~')
            escaped.push_back(c);
        else
            AppendEscape(escaped, c);
    }
    return escaped;
}

// Blanks around a URL don't count.
std::string_view Trimmed(std::string_view text) {
    const auto outside = [](char c) { return static_cast<unsigned char>(c) <= 0x20; };
    while (!text.empty() && outside(text.front())) text.remove_prefix(1);
    while (!text.empty() && outside(text.back())) text.remove_suffix(1);
    return text;
}

// The components of what somebody wrote for a URL.
Components Read(std::string_view text) {
    Components parts = Split(Trimmed(text));
    // Letters of the host are a name in another script.
    if (parts.authority) parts.authority = Escape(*parts.authority, true);
    parts.path = Escape(parts.path);
    if (parts.query) parts.query = Escape(*parts.query);
    if (parts.fragment) parts.fragment = Escape(*parts.fragment);
    return parts;
}

bool IsHostName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return IsLetter(c) || IsDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
    });
}

// "[…]"
bool IsAddress(std::string_view host) {
    if (!host.starts_with('[') || !host.ends_with(']') || host.size() < 4) return false;
    host = host.substr(1, host.size() - 2);
    if (const std::size_t zone = host.find("%25"); zone != host.npos) {
        if (!IsHostName(host.substr(zone + 3))) return false;
        host = host.substr(0, zone);
    }
    return host.find(':') != host.npos && std::all_of(host.begin(), host.end(), [](char c) {
               return HexValue(c) >= 0 || c == ':' || c == '.';
           });
}

// The host as it is asked for: in ASCII and lower case; empty when it can't be one.
std::string HostOf(std::string_view host) {
    if (IsAddress(host)) return Lower(host);
    std::string name = Unescape(host);
    const bool isAscii =
        std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!isAscii) name = AsciiHostName(name).value_or("");
    return IsHostName(name) ? Lower(name) : std::string();
}

std::string_view DefaultPort(std::string_view scheme) {
    return scheme == "http" ? "80" : scheme == "https" ? "443" : "21";
}

bool IsPort(std::string_view text) {
    const auto number = ParseNumber(text);
    return number && *number > 0 && *number < 65'536;
}

// Whether libcurl and the system's monikers, asked for this by ftp, would list a folder.
bool IsFolder(const Components& url) {
    std::string path = Lower(url.path + (url.query ? "?" + *url.query : ""));
    if (const std::size_t type = path.find(";type="); type != path.npos) {
        if (path.substr(type + 6).starts_with('d')) return true;
        path.resize(type);
    }
    // The escaped slashes count as well.
    return path.ends_with('/') || path.ends_with("%2f");
}

// Takes `authority` apart. False when it names no host, or does so in a way that others might read otherwise.
bool TakeAuthority(SourceUrl& source, std::string_view authority, std::string& place) {
    if (authority.find('\\') != authority.npos) return false;
    if (const std::size_t at = authority.rfind('@'); at != authority.npos) {
        std::string_view user = authority.substr(0, at);
        source.user = Unescape(Take(user, ':'));
        source.password = Unescape(user);
        authority.remove_prefix(at + 1);
    }
    const std::size_t name = authority.starts_with('[') ? authority.find(']') : 0;
    const std::size_t colon = name == authority.npos ? name : authority.find(':', name);
    std::string_view port = colon == authority.npos ? std::string_view() : authority.substr(colon + 1);
    source.host = HostOf(authority.substr(0, colon));
    if (source.host.empty() || (!port.empty() && !IsPort(port))) return false;
    place = source.host;
    if (!port.empty()) place.append(":").append(port);
    if (port.empty()) port = DefaultPort(source.scheme);
    source.origin = source.scheme + "://" + source.host + ":" + std::string(port);
    return true;
}

std::variant<SourceUrl, ReadFailure> Describe(Components url, std::string_view asked) {
    const ReadFailure malformed = Failure(why::kMalformedUrl, asked);
    SourceUrl source;
    if (!url.scheme) return malformed;
    source.scheme = *url.scheme;
    if (source.scheme == "file") {
        const bool isOurs = url.authority.value_or("").empty() || Lower(*url.authority) == "localhost";
        if (isOurs && url.path.starts_with('/')) source.path = Unescape(url.path);
        if (source.path.find('\0') != source.path.npos) return malformed;
        source.text = Join(url);
        source.origin = "file:";
        return source;
    }
    if (!source.IsWeb() && source.scheme != "ftp") return Failure(why::kUnknownScheme, asked);
    std::string place;
    if (!url.authority || !TakeAuthority(source, *url.authority, place)) return malformed;
    url.authority = place;
    url.path = url.path.empty() ? "/" : WithoutDots(url.path);
    source.text = Join(url);
    if (source.scheme == "ftp" && IsFolder(url)) return Failure(why::kFolder, source.text);
    return source;
}

}  // namespace

std::string SourceOf(const SourceUrl& source) {
    return SourceOf(source.text.substr(0, source.text.find('#')), source.user, source.password);
}

std::string SourceUrl::TextWithUser() const {
    if (!NamesUser()) return text;
    const std::string colon = password.empty() ? "" : ":" + EscapeUser(password);
    return std::string(text).insert(scheme.size() + 3, EscapeUser(user) + colon + "@");
}

std::variant<SourceUrl, ReadFailure> ParseSourceUrl(std::string_view text) {
    return Describe(Read(text), text);
}

std::variant<SourceUrl, ReadFailure> ResolveReference(const SourceUrl& base, std::string_view reference) {
    const Components parts = Read(reference);
    // Some take a backslash for a slash, and the path for another host.
    if (parts.path.starts_with('\\') || parts.path.starts_with("/\\"))
        return Failure(why::kMalformedUrl, reference);
    return Describe(Resolve(Split(base.text), parts), reference);
}

std::string WithoutUser(std::string_view text) {
    const std::string_view url = Trimmed(text);
    const std::size_t colon = url.find(':');
    const bool hasScheme = colon != url.npos && colon > 1 && IsSchemeName(url.substr(0, colon));
    const bool isPath = !hasScheme && !url.starts_with("//");
    if (isPath || Lower(url.substr(0, colon)) == "file") return std::string(text);
    // Some take any number of slashes, of either kind, for the two.
    const std::size_t start = std::min(url.find_first_not_of("/\\", hasScheme ? colon + 1 : 0), url.size());
    const std::size_t end = std::min(url.find_first_of("/?#", start), url.size());
    std::size_t at = url.substr(0, end).rfind('@');
    SourceUrl source;
    std::string place;
    // In what is no URL the password may hold what would end it.
    if (at == url.npos && !TakeAuthority(source, url.substr(start, end - start), place)) at = url.rfind('@');
    if (at == url.npos || at < start) return std::string(url);
    return std::string(url.substr(0, start)) + std::string(url.substr(at + 1));
}

std::string LastSegmentOf(std::string_view url) {
    const std::string path = Split(url).path;
    return Unescape(std::string_view(path).substr(path.find_last_of("/\\") + 1));
}

}  // namespace tsasync::platform::reader
