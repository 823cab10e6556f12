#pragma once

#include <string>
#include <string_view>

// The files of the freedesktop shared database of content types, as update-mime-database writes them. Any
// bytes are accepted; what is damaged is not found.
namespace tsasync::platform::mime {

// Whether `type` is "type/subtype" of lower-case letters, digits and !#$&-^_.+, beginning with neither a dot
// nor anything else that is no letter or digit. Only such a type names a file of the database.
bool IsTypeName(std::string_view type);

// The extension, with its dot, that the description of a type (the text of its XML file) names first among
// those of the highest weight. Only patterns "*.ext" of lower-case letters, digits and "-_+." count. Empty
// when there is none.
std::string PreferredExtension(std::string_view description);

// The type that `alias` stands for in the text of the file "aliases" (lines "alias type"); empty when not
// listed.
std::string Unalias(std::string_view aliases, std::string_view alias);

}  // namespace tsasync::platform::mime
