// The head of an HTTP response, and the parsers of its fields on their own.
#include "platform/reader/response_head.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace tsasync::platform::reader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ResponseHead head;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        if (!head.AddLine(text.substr(start, end - start))) break;
        start = end;
    }
    if (head.contentLength && *head.contentLength < 0) std::abort();
    for (const std::string& coding : head.contentCodings) {
        if (coding.empty() || coding.find(',') != coding.npos) std::abort();
    }
    for (const char c : head.mediaType) {
        if (c <= ' ' || c == 0x7F) std::abort();
    }
    head.StrongValidator();
    const auto range = ParseContentRange(text);
    if (range && range->first && (*range->first < 0 || *range->last < *range->first)) std::abort();
    const auto wait = ParseRetryAfter(text, 1'700'000'000);
    if (wait && *wait < 0) std::abort();
    ParseMediaType(text);
    Digests digests;
    ParseReprDigest(text, digests);
    ParseContentMd5(text, digests);
    return 0;
}
