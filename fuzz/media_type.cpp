// What a file is said to be: a line of the type that was sent, a line of its URL, and its content.
#include "platform/reader/ascii.h"
#include "platform/reader/header_fields.h"
#include "platform/reader/media_types.h"

#include <cstdint>
#include <cstdlib>

using namespace tsasync::platform::reader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view content(reinterpret_cast<const char*>(data), size);
    const std::string sent = ParseMediaType(Take(content, '\n'));
    const std::string_view url = Take(content, '\n');
    const std::string type = EffectiveMediaType(sent, url, content.substr(0, kSniffSize));
    // It is a type, and gives a name no more than one harmless extension.
    if (ParseMediaType(type) != type) std::abort();
    for (const std::string& extension : {ExtensionOfMediaType(type), ExtensionOfMediaType(sent)}) {
        constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyz0123456789-_+";
        if (extension.empty()) continue;
        if (extension[0] != '.' || extension.find_first_not_of(kAllowed, 1) != extension.npos) std::abort();
    }
    return 0;
}
