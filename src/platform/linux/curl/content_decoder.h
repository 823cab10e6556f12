#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string_view>

namespace tsasync::platform::reader {

// Undoes the coding of content that comes encoded although none was asked for. A coding tells where its
// stream ends, so that content cut inside is never taken for whole.
class ContentDecoder {
  public:
    // For `coding` (in lower case) of a Content-Encoding field: gzip, x-gzip or deflate. Null for others.
    static std::unique_ptr<ContentDecoder> For(std::string_view coding);

    // Hands what `bytes`, the next ones of the stream, stand for to `take`, piece by piece. False when they
    // are not of the coding, or `take` says so.
    bool Decode(std::string_view bytes, const std::function<bool(std::string_view)>& take);
    // Whether the stream is complete.
    bool AtEnd() const { return m_atEnd; }

  private:
    struct Release {
        void operator()(GConverter* converter) const { g_object_unref(converter); }
    };

    explicit ContentDecoder(GZlibCompressorFormat format)
        : m_converter(G_CONVERTER(g_zlib_decompressor_new(format))) {}

    std::unique_ptr<GConverter, Release> m_converter;
    bool m_atEnd = false;
};

}  // namespace tsasync::platform::reader
