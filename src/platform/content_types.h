#pragma once

#include <string>
#include <string_view>

namespace tsasync::platform {

// The file extension, with its leading dot, that the system's database of content types prefers for
// `mimeType` (lower case, without parameters); empty when the database does not know the type.
std::u16string ExtensionForContentType(std::u16string_view mimeType);

}  // namespace tsasync::platform
