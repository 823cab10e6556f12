#include "platform/reader/response_head.h"

#include "platform/reader/ascii.h"

#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::int64_t kClearlyOlder = 60;  // seconds between Last-Modified and Date

std::string_view WithoutEnd(std::string_view line) {
    if (line.ends_with('\n')) line.remove_suffix(1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

}  // namespace

bool ResponseHead::AddLine(std::string_view line) {
    if (line.starts_with("HTTP/") && !m_last) {
        if (m_lines > 0 && !m_complete) return false;  // no field has such a name
        *this = {};
        const std::size_t blank = line.find(' ');
        const std::string_view code = blank == line.npos ? std::string_view() : line.substr(blank + 1, 3);
        m_status = static_cast<int>(code.empty() ? 0 : ParseNumber(code).value_or(0));
        m_lines = 1;
    } else {
        ++m_lines;
    }
    m_size += line.size();
    if (m_size > kMaxSize || m_lines > kMaxLines) return false;
    line = WithoutEnd(line);
    if (line.find_first_of(std::string_view("\r\0", 2)) != line.npos) return false;
    if (m_lines == 1 || m_complete) return true;  // the status, or a trailer: no field that we read
    const std::string_view text = TrimBlanks(line);
    if (text.empty()) {
        m_complete = true;
        return TakeField();
    }
    if (line.front() == ' ' || line.front() == '\t') {
        m_field.append(" ").append(text);
        return true;
    }
    const bool sound = TakeField();
    m_field = text;
    return sound;
}

bool ResponseHead::AddLines(std::string_view lines) {
    while (!lines.empty()) {
        if (!AddLine(Take(lines, '\n'))) return false;
    }
    return true;
}

bool ResponseHead::TakeField() {
    const std::string field = std::exchange(m_field, {});
    if (field.empty()) return true;
    const std::size_t colon = field.find(':');
    if (colon == field.npos) return false;
    const std::string_view text = field;
    return AddField(TrimBlanks(text.substr(0, colon)), TrimBlanks(text.substr(colon + 1)));
}

bool ResponseHead::AddField(std::string_view fieldName, std::string_view value) {
    const std::string name = Lower(fieldName);
    if (name == "content-length") {
        const auto length = value.empty() ? std::nullopt : ParseNumber(value);
        if (!length || (contentLength && contentLength != length)) return false;
        contentLength = length;
    } else if (name == "transfer-encoding") {
        isChunked = Lower(value) == "chunked";
        return isChunked;
    } else if (name == "content-type") {
        mediaType = ParseMediaType(value);
    } else if (name == "content-encoding") {
        AddCodings(value);
    } else if (name == "location") {
        locationsDiffer = locationsDiffer || (!location.empty() && location != value);
        location = value;
    } else if (name == "etag") {
        etag = value;
    } else if (name == "last-modified") {
        lastModified = value;
    } else if (name == "content-range") {
        contentRange = value;
    } else if (name == "accept-ranges") {
        acceptRanges = Lower(value);
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

// Several fields are one list.
void ResponseHead::AddCodings(std::string_view list) {
    while (!list.empty()) {
        const std::string coding = Lower(TrimBlanks(Take(list, ',')));
        if (!coding.empty() && coding != "identity" && coding != "none") contentCodings.push_back(coding);
    }
}

std::string ResponseHead::StrongValidator() const {
    if (etag.size() >= 2 && etag.front() == '"' && etag.back() == '"') return etag;
    const auto modified = ParseDate(lastModified);
    const auto sent = ParseDate(date);
    return modified && sent && *sent >= *modified + kClearlyOlder ? lastModified : std::string();
}

}  // namespace tsasync::platform::reader
