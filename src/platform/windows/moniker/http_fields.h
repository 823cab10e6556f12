#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What the head of an HTTP response says. It is the work of a foreign server; no system is asked about it.
namespace tsasync::platform {

// In lower case, as far as it is ASCII.
std::u16string Lower(std::u16string_view text);

// The fields that count. Those that came several times are joined, as a list is.
struct ResponseHead {
    // The most that the lines of one response may hold.
    static constexpr std::size_t kMaxSize = std::size_t{256} << 10;

    // False when the response can't be trusted: too large a head, a line that is no field, a length that is
    // no number, two different lengths, a transfer coding other than chunks.
    bool isSound = true;
    std::optional<std::int64_t> contentLength;
    bool isChunked = false;
    std::u16string contentEncoding;  // in lower case; empty also for "identity", which is none
    std::u16string location;
    std::u16string retryAfter;
    std::u16string reprDigest;
    std::u16string contentMd5;
};
// `head`: its lines, the first of them the one with the status.
ResponseHead ParseHead(std::u16string_view head);

// Seconds to wait of a Retry-After field in either form, `now` being seconds since 1970; nothing when it is
// malformed.
std::optional<std::int64_t> ParseRetryAfter(std::u16string_view value, std::int64_t now);

// The member `algorithm` ("sha-256") of a Repr-Digest field, in base64 as it stands there; empty when it has
// none.
std::u16string ParseReprDigest(std::u16string_view value, std::u16string_view algorithm);

}  // namespace tsasync::platform
