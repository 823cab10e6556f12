#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// What media type a file is said to have, and what extension that gives it. docs/naming.md has it as a table.
namespace tsasync::platform::reader {

// As many bytes from the start of the content as are worth looking at.
inline constexpr std::size_t kSniffSize = 512;

// Whether a server's media type does not stand on its own, so that EffectiveMediaType wants to see content:
// it says nothing, or says text of what may be something else.
bool WantsContent(std::string_view sent);

// The type that is told, of the one that was sent (empty when it is missing or malformed), the URL, and the
// first bytes of the content, kSniffSize where there are so many.
std::string EffectiveMediaType(std::string_view sent, std::string_view url, std::string_view start);

// The extension, with its dot, of files of a media type ("type/subtype" in lower case); empty when it is
// unknown.
std::string ExtensionOfMediaType(std::string_view type);

}  // namespace tsasync::platform::reader
