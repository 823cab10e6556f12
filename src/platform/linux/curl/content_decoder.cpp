#include "platform/linux/curl/content_decoder.h"

#include <algorithm>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::size_t kMostCodings = 2;

// Whether deflated content has the wrapper that it should have: many servers send it without, and every
// browser reads it so.
bool IsWrapped(std::string_view start) {
    const auto first = static_cast<unsigned char>(start[0]);
    const auto second = static_cast<unsigned char>(start[1]);
    return (first & 0x0F) == 8 && (first << 8 | second) % 31 == 0;
}

}  // namespace

std::unique_ptr<ContentDecoder> ContentDecoder::For(const std::vector<std::string>& codings,
                                                    const Limits& limits) {
    auto decoder = std::make_unique<ContentDecoder>();
    decoder->m_limits = limits;
    if (codings.size() > kMostCodings) return nullptr;
    for (auto coding = codings.rbegin(); coding != codings.rend(); ++coding) {
        const bool isGzip = *coding == "gzip" || *coding == "x-gzip";
        if (!isGzip && *coding != "deflate") return nullptr;
        decoder->m_stages.emplace_back(isGzip);
    }
    return decoder;
}

bool ContentDecoder::Decode(std::string_view bytes, const Take& take) {
    m_sent += static_cast<std::int64_t>(bytes.size());
    return DecodeFrom(0, bytes, take);
}

bool ContentDecoder::DecodeFrom(std::size_t stage, std::string_view bytes, const Take& take) {
    if (stage == m_stages.size()) return take(bytes);
    return m_stages[stage].Decode(bytes, [&](std::string_view decoded) {
        m_stages[stage].made += static_cast<std::int64_t>(decoded.size());
        m_isTooMuch = m_isTooMuch || IsInflated(m_stages[stage].made, m_sent, m_limits);
        return !m_isTooMuch && DecodeFrom(stage + 1, decoded, take);
    });
}

bool ContentDecoder::AtEnd() const {
    return std::all_of(m_stages.begin(), m_stages.end(), [](const Stage& stage) { return stage.AtEnd(); });
}

ContentDecoder::Stage::Stage(bool isGzip) {
    if (isGzip) m_converter.reset(G_CONVERTER(g_zlib_decompressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP)));
}

bool ContentDecoder::Stage::Decode(std::string_view bytes, const Take& take) {
    std::string start;
    if (!m_converter) {
        m_start += bytes;
        if (m_start.size() < 2) return true;
        const auto format = IsWrapped(m_start) ? G_ZLIB_COMPRESSOR_FORMAT_ZLIB : G_ZLIB_COMPRESSOR_FORMAT_RAW;
        m_converter.reset(G_CONVERTER(g_zlib_decompressor_new(format)));
        start = std::exchange(m_start, {});
        bytes = start;
    }
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
