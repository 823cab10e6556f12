// A damaged database of content types gives no extension that could lead anywhere.
#include "platform/linux/naming/mime_database.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace mime = tsasync::platform::mime;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::string extension = mime::PreferredExtension(bytes);
    if (!extension.empty() && (extension[0] != '.' || extension.find('/') != extension.npos)) std::abort();
    const std::string type = mime::Unalias(bytes, "a/b");
    if (mime::IsTypeName(type) && type.find("/.") != type.npos) std::abort();
    return 0;
}
