#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform::reader {

// What is remembered beside a partial file, so that a later read can continue it.
struct PartialMeta {
    std::string source;     // SourceOf the source that answers; no text, which may hold a password
    std::string data;       // the data file, relative to the private folder: "<session>/<number>"
    std::string validator;  // for If-Range: a strong ETag or a date; empty: the data is not to be used again
    std::string mediaType;  // the effective one
    std::optional<std::int64_t> total;  // bytes
    bool whole = false;  // all of it is there, and agreed with whatever digests its server sent
};

// What names a source in metadata: a hash of its URL, which is without user and fragment, and of the user
// that is told to it, since another user may be shown other content.
std::string SourceOf(const std::string& url, const std::string& user, const std::string& password);

// Lines of text with a checksum at the end, so that a half-written one is recognised.
std::string FormatPartialMeta(const PartialMeta& meta);
std::optional<PartialMeta> ParsePartialMeta(std::string_view text);

}  // namespace tsasync::platform::reader
