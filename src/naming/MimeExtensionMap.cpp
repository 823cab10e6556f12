#include "naming/MimeExtensionMap.h"

#include "base/Utf8.h"
#include "platform/reader/header_fields.h"
#include "platform/reader/media_types.h"

namespace tsasync {

std::u16string MimeExtensionMap::ExtensionOf(std::u16string_view mimeType) const {
    const std::string type = platform::reader::ParseMediaType(ToUtf8(mimeType));
    return FromUtf8(platform::reader::ExtensionOfMediaType(type));
}

}  // namespace tsasync
