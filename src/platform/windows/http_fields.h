#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the fields of an HTTP response's head say.
namespace tsasync::platform {

std::u16string Lower(std::u16string_view text);

// The value of the field `name` (lower case) of a response's head; empty when it has none.
std::u16string HeaderField(std::u16string_view head, std::u16string_view name);

// Milliseconds to wait of a Retry-After field in either form; nothing when it is malformed.
std::optional<std::int64_t> ParseRetryAfter(std::u16string_view value);

// The bytes of the member `algorithm` ("sha-256") of a Repr-Digest field; empty when it has none.
std::vector<unsigned char> ParseReprDigest(std::u16string_view value, std::u16string_view algorithm);

// Empty when it is malformed.
std::vector<unsigned char> DecodeBase64(std::u16string_view text);

}  // namespace tsasync::platform
