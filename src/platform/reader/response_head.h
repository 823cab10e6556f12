#pragma once

#include "platform/reader/header_fields.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tsasync::platform::reader {

// The head of one HTTP response, gathered line by line as the server sends it. Of several responses in a row
// (100 Continue, an authentication's first answer, a proxy's) the last one counts.
class ResponseHead {
  public:
    // The most that the lines of one response may hold, and how many they may be.
    static constexpr std::size_t kMaxSize = 256 * 1024;
    static constexpr std::size_t kMaxLines = 1000;

    // Takes one line, with or without its end. False when the response can't be trusted: too large a head, a
    // line that is no field or holds a NUL or a CR that ends no line, a length that is no number, two
    // different lengths, a transfer coding other than chunks.
    bool AddLine(std::string_view line);
    // Takes a whole head at once.
    bool AddLines(std::string_view lines);
    // No other response follows this one: lines that still come are trailers, whatever they look like.
    void End() { m_last = true; }
    // Whether the empty line after the head of a final response (200 or above) has come.
    bool Complete() const { return m_complete && m_status >= 200; }
    int Status() const { return m_status; }

    std::string mediaType;  // empty when missing or malformed
    bool isChunked = false;
    // In lower case, the one applied first at the front. Those that change nothing are left out.
    std::vector<std::string> contentCodings;
    std::string location;
    bool locationsDiffer = false;  // there is another location beside that one
    std::string etag;
    std::string lastModified;
    std::optional<std::int64_t> contentLength;
    std::string contentRange;
    std::string acceptRanges;  // in lower case
    std::string retryAfter;
    std::string date;
    Digests digests;

    // The validator that proves byte for byte equality in If-Range: a strong ETag, else a Last-Modified that
    // is a minute older than the response; empty when there is none.
    std::string StrongValidator() const;

  private:
    bool TakeField();
    bool AddField(std::string_view name, std::string_view value);
    void AddCodings(std::string_view list);

    int m_status = 0;
    bool m_complete = false;
    bool m_last = false;
    std::size_t m_size = 0;
    std::size_t m_lines = 0;
    std::string m_field;  // the last one, which may go on in the next line
};

}  // namespace tsasync::platform::reader
