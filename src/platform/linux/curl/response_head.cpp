#include "platform/linux/curl/response_head.h"

#include <curl/curl.h>
#include <glib.h>

#include <algorithm>
#include <charconv>

namespace tsasync::platform::reader {

namespace {

constexpr std::int64_t kClearlyOlder = 60;  // seconds between Last-Modified and Date

std::string_view TrimBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = g_ascii_tolower(c);
    return lower;
}

// A whole number from 0 on, nothing else around it.
std::optional<std::int64_t> ParseNumber(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0 || text.front() == '-')
        return {};
    return value;
}

std::int64_t ParseDate(std::string_view text) { return curl_getdate(std::string(text).c_str(), nullptr); }

bool IsToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return g_ascii_isalnum(c) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

// The bytes that `base64` stands for; empty unless they are exactly `size`.
std::string DecodeDigest(std::string_view base64, std::size_t size) {
    if (base64.size() != (size + 2) / 3 * 4) return {};
    gsize length = 0;
    guchar* bytes = g_base64_decode(std::string(base64).c_str(), &length);
    std::string digest(reinterpret_cast<char*>(bytes), length);
    g_free(bytes);
    return length == size ? digest : std::string();
}

}  // namespace

std::optional<ContentRange> ParseContentRange(std::string_view value) {
    value = TrimBlanks(value);
    if (value.size() < 6 || Lower(value.substr(0, 6)) != "bytes ") return std::nullopt;
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

std::optional<std::int64_t> ParseRetryAfter(std::string_view value, std::int64_t now) {
    value = TrimBlanks(value);
    if (value.empty()) return std::nullopt;
    if (const auto seconds = ParseNumber(value)) return seconds;
    const std::int64_t date = ParseDate(value);
    if (date < 0) return std::nullopt;
    return std::max<std::int64_t>(date - now, 0);
}

void ParseReprDigest(std::string_view value, Digests& digests) {
    while (!value.empty()) {
        const std::size_t comma = std::min(value.find(','), value.size());
        const std::string_view member = TrimBlanks(value.substr(0, comma));
        value.remove_prefix(std::min(comma + 1, value.size()));
        const std::size_t equals = member.find('=');
        if (equals == member.npos) continue;
        const std::string_view item = member.substr(equals + 1);
        const std::size_t end = item.find(':', 1);
        if (!item.starts_with(':') || end == item.npos) continue;
        const std::string name = Lower(member.substr(0, equals));
        if (name == "sha-256") digests.sha256 = DecodeDigest(item.substr(1, end - 1), 32);
        if (name == "sha-512") digests.sha512 = DecodeDigest(item.substr(1, end - 1), 64);
    }
}

void ParseContentMd5(std::string_view value, Digests& digests) {
    digests.md5 = DecodeDigest(TrimBlanks(value), 16);
}

bool ResponseHead::AddLine(std::string_view line) {
    if (line.starts_with("HTTP/") && !m_last) {
        *this = {};
        const std::size_t blank = line.find(' ');
        const std::string_view code = blank == line.npos ? std::string_view() : line.substr(blank + 1, 3);
        m_status = static_cast<int>(code.empty() ? 0 : ParseNumber(code).value_or(0));
    }
    m_size += line.size();
    if (m_size > kMaxSize) return false;
    const std::string_view text = TrimBlanks(line);
    if (text.empty()) {
        m_complete = true;
        return true;
    }
    const std::size_t colon = text.find(':');
    if (colon == text.npos || m_complete) return true;  // the status line, or a trailer: nothing that we read
    return AddField(TrimBlanks(text.substr(0, colon)), TrimBlanks(text.substr(colon + 1)));
}

bool ResponseHead::AddField(std::string_view fieldName, std::string_view value) {
    const std::string name = Lower(fieldName);
    if (name == "content-length") {
        const auto length = value.empty() ? std::nullopt : ParseNumber(value);
        if (!length || (contentLength && contentLength != length)) return false;
        contentLength = length;
    } else if (name == "transfer-encoding") {
        isChunked = true;
    } else if (name == "content-type") {
        mediaType = ParseMediaType(value);
    } else if (name == "content-encoding") {
        if (Lower(value) != "identity") contentEncoding = Lower(value);
    } else if (name == "location") {
        location = value;
    } else if (name == "etag") {
        etag = value;
    } else if (name == "last-modified") {
        lastModified = value;
    } else if (name == "content-range") {
        contentRange = value;
    } else if (name == "retry-after") {
        retryAfter = value;
    } else if (name == "date") {
        date = value;
    } else if (name == "repr-digest") {
        ParseReprDigest(value, digests);
    } else if (name == "content-md5") {
        ParseContentMd5(value, digests);
    }
    return true;
}

std::string ResponseHead::StrongValidator() const {
    if (etag.size() >= 2 && etag.front() == '"' && etag.back() == '"') return etag;
    const std::int64_t modified = ParseDate(lastModified);
    const std::int64_t sent = ParseDate(date);
    return modified >= 0 && sent >= modified + kClearlyOlder ? lastModified : std::string();
}

}  // namespace tsasync::platform::reader
