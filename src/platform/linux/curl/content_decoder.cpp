#include "platform/linux/curl/content_decoder.h"

namespace tsasync::platform::reader {

std::unique_ptr<ContentDecoder> ContentDecoder::For(std::string_view coding) {
    if (coding == "gzip" || coding == "x-gzip")
        return std::unique_ptr<ContentDecoder>(new ContentDecoder(G_ZLIB_COMPRESSOR_FORMAT_GZIP));
    if (coding == "deflate")
        return std::unique_ptr<ContentDecoder>(new ContentDecoder(G_ZLIB_COMPRESSOR_FORMAT_ZLIB));
    return nullptr;
}

bool ContentDecoder::Decode(std::string_view bytes, const std::function<bool(std::string_view)>& take) {
    char piece[16 * 1024];
    bool full = false;  // the last piece: more may wait to be fetched
    while (!bytes.empty() || full) {
        if (m_atEnd) {
            if (bytes.empty()) return true;
            g_converter_reset(m_converter.get());  // one stream may follow another
            m_atEnd = false;
        }
        gsize used = 0;
        gsize got = 0;
        GError* error = nullptr;
        const GConverterResult result =
            g_converter_convert(m_converter.get(), bytes.data(), bytes.size(), piece, sizeof piece,
                                G_CONVERTER_NO_FLAGS, &used, &got, &error);
        if (result == G_CONVERTER_ERROR) {
            const bool waits = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_PARTIAL_INPUT) != FALSE;
            g_error_free(error);
            return waits && bytes.empty();
        }
        bytes.remove_prefix(used);
        m_atEnd = result == G_CONVERTER_FINISHED;
        full = got == sizeof piece;
        if (got > 0 && !take({piece, got})) return false;
    }
    return true;
}

}  // namespace tsasync::platform::reader
