#pragma once

#include <string>
#include <string_view>

namespace tsasync::platform::reader {

// As many bytes from the start of the content as are worth looking at.
inline constexpr std::size_t kSniffSize = 512;

// Whether a server's media type says nothing, so that the content decides: missing or malformed (empty), or
// one of the types that servers send for whatever they don't know.
bool SaysNothing(std::string_view mediaType);

// The media type that the content's first bytes and the URL's file name make most likely, by the system's
// database; `mediaType` where they tell nothing, and application/octet-stream where that is empty too.
std::string GuessMediaType(std::string_view mediaType, const std::string& url, std::string_view start);

}  // namespace tsasync::platform::reader
