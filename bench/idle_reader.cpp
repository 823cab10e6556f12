#include "platform/url_reader.h"

// A reader that accepts every read and does nothing, so that what is measured is the engine.
namespace tsasync::platform {

class UrlReader::Impl {};

UrlReader::UrlReader(IReadEvents& /*events*/) {}
UrlReader::~UrlReader() = default;
void UrlReader::PlaceNear(std::u16string_view /*folder*/) {}
std::int32_t UrlReader::AsyncRead(std::u16string_view /*target*/, std::int32_t /*type*/,
                                  std::u16string_view /*propertyName*/) {
    return 0;
}
std::int32_t UrlReader::CancelAsyncRead(std::u16string_view /*propertyName*/) { return 0; }

}  // namespace tsasync::platform
