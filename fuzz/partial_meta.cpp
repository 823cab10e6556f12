// The metadata of partial files: what is accepted must name a data file inside the private folder, and come
// out the same when it is written again.
#include "platform/reader/partial_meta.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace tsasync::platform::reader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto meta = ParsePartialMeta({reinterpret_cast<const char*>(data), size});
    if (!meta) return 0;
    if (meta->data.find("..") != std::string::npos || meta->data.front() == '/') std::abort();
    const auto again = ParsePartialMeta(FormatPartialMeta(*meta));
    if (!again || again->data != meta->data || again->source != meta->source || again->total != meta->total ||
        again->whole != meta->whole)
        std::abort();
    return 0;
}
