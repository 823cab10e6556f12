// Whatever a server sends as the type, the extension is none or a dot and harmless characters.
#include "base/Utf8.h"
#include "naming/MimeExtensionMap.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::u16string extension = tsasync::MimeExtensionMap().ExtensionOf(
        tsasync::FromUtf8({reinterpret_cast<const char*>(data), size}));
    constexpr std::u16string_view kAllowed = u"abcdefghijklmnopqrstuvwxyz0123456789.-_+";
    if (extension.empty()) return 0;
    if (extension[0] != u'.' || extension.find_first_not_of(kAllowed) != extension.npos) std::abort();
    return 0;
}
