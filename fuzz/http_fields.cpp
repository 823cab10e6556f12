// The head of an HTTP response as the Windows component reads it, and the parsers of its fields on their own.
#include "platform/windows/moniker/http_fields.h"

#include <cstdlib>

using namespace tsasync::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::u16string text(data, data + size);
    const ResponseHead head = ParseHead(text);
    if (head.contentLength && *head.contentLength < 0) std::abort();
    if (head.contentEncoding != Lower(head.contentEncoding)) std::abort();
    for (const auto& value : {text, head.retryAfter}) {
        const auto wait = ParseRetryAfter(value, 1'700'000'000);
        if (wait && *wait < 0) std::abort();
    }
    for (const auto& value : {text, head.reprDigest}) {
        if (ParseReprDigest(value, u"sha-256").find(u',') != std::u16string::npos) std::abort();
    }
    return 0;
}
