#pragma once

#include <string>
#include <string_view>

// The system's database of content types. A type is "type/subtype" in lower case, without parameters; an
// extension is in lower case and has its leading dot. Empty is what the database does not know.
namespace tsasync::platform {

// The extension that it prefers for a type.
std::string ExtensionForContentType(std::string_view type);

// The type of files with an extension.
std::string ContentTypeForExtension(std::string_view extension);

// The type that the beginning of a file's content tells.
std::string ContentTypeOfData(std::string_view start);

}  // namespace tsasync::platform
