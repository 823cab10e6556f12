#pragma once

#include <string>
#include <string_view>

namespace tsasync {

// Maps a MIME type to a file extension.
class MimeExtensionMap {
  public:
    // The extension with its leading dot; empty when the type is unknown. Letter case and parameters
    // ("; charset=…") of `mimeType` do not count.
    std::u16string ExtensionOf(std::u16string_view mimeType) const;
};

}  // namespace tsasync
