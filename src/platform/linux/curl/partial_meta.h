#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform::reader {

// What is remembered beside a partial file, so that a later read can continue it.
struct PartialMeta {
    std::string source;     // HashOf what names the answering source; no text, which may hold a password
    std::string data;       // the data file, relative to the private folder: "<session>/<number>"
    std::string validator;  // for If-Range: a strong ETag or a date; empty: the data is not to be used again
    std::string mediaType;  // the effective one
    std::optional<std::int64_t> total;  // bytes
    bool whole = false;  // all of it is there, and agreed with whatever digests its server sent
};

// The SHA-256 of `text` in hexadecimal digits.
std::string HashOf(std::string_view text);

// Lines of text with a checksum at the end, so that a half-written one is recognised.
std::string FormatPartialMeta(const PartialMeta& meta);
std::optional<PartialMeta> ParsePartialMeta(std::string_view text);

}  // namespace tsasync::platform::reader
