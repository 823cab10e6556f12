#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Values of the fields of an HTTP head: the work of a foreign server.
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

// A point in time in seconds since 1970; nothing when it is malformed.
std::optional<std::int64_t> ParseDate(std::string_view value);

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

}  // namespace tsasync::platform::reader
