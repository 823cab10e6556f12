#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform::reader {

// A Content-Range header: "bytes 5-9/20", "bytes 5-9/*" or "bytes */20".
struct ContentRange {
    std::optional<std::int64_t> first;  // both or none
    std::optional<std::int64_t> last;
    std::optional<std::int64_t> total;
};
std::optional<ContentRange> ParseContentRange(std::string_view value);

// "type/subtype" of a Content-Type header in lower case, without parameters; empty when it is malformed.
std::string ParseMediaType(std::string_view value);

// Seconds to wait of a Retry-After header in either form; nothing when it is malformed. `now`: seconds since
// 1970.
std::optional<std::int64_t> ParseRetryAfter(std::string_view value, std::int64_t now);

// What is said of a response's content by digests: raw bytes, empty where nothing is said.
struct Digests {
    std::string sha256;
    std::string sha512;
    std::string md5;

    bool Any() const { return !sha256.empty() || !sha512.empty() || !md5.empty(); }
};
// The digests of a Repr-Digest field ("sha-256=:…base64…:, sha-512=:…:") that we can check are added to
// `digests`.
void ParseReprDigest(std::string_view value, Digests& digests);
// The digest of a Content-MD5 field.
void ParseContentMd5(std::string_view value, Digests& digests);

// The head of one HTTP response, gathered line by line as the server sends it. Of several responses in a row
// (100 Continue, an authentication's first answer, a proxy's) the last one counts.
class ResponseHead {
  public:
    // The most that the lines of one response may hold.
    static constexpr std::size_t kMaxSize = 256 * 1024;

    // Takes one line, with or without its end. False when the response can't be trusted: too large a head, or
    // two different lengths.
    bool AddLine(std::string_view line);
    // No other response follows this one: lines that still come are trailers, whatever they look like.
    void End() { m_last = true; }
    // Whether the empty line after the head of a final response (200 or above) has come.
    bool Complete() const { return m_complete && m_status >= 200; }
    int Status() const { return m_status; }

    std::string mediaType;        // empty when missing or malformed
    bool isChunked = false;       // or in another transfer coding
    std::string contentEncoding;  // in lower case; empty also for "identity", which is none
    std::string location;
    std::string etag;
    std::string lastModified;
    std::optional<std::int64_t> contentLength;
    std::string contentRange;
    std::string retryAfter;
    std::string date;
    Digests digests;

    // The validator that proves byte for byte equality in If-Range: a strong ETag, else a Last-Modified that
    // is a minute older than the response; empty when there is none.
    std::string StrongValidator() const;

  private:
    bool AddField(std::string_view name, std::string_view value);

    int m_status = 0;
    bool m_complete = false;
    bool m_last = false;
    std::size_t m_size = 0;
};

}  // namespace tsasync::platform::reader
