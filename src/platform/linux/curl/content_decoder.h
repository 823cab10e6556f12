#pragma once

#include "platform/reader/limits.h"

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tsasync::platform::reader {

// Undoes the codings of content that comes encoded although none was asked for. A coding tells where its
// stream ends, so that content cut inside is never taken for whole.
class ContentDecoder {
  public:
    using Take = std::function<bool(std::string_view)>;

    // For the codings of a response, in the order in which they were applied: gzip, x-gzip or deflate. Null
    // when there are others, or more than anybody means.
    static std::unique_ptr<ContentDecoder> For(const std::vector<std::string>& codings, const Limits& limits);

    // Hands what `bytes`, the next ones of the stream, stand for to `take`, piece by piece. False when they
    // are not of the coding, stand for far too much, or `take` says so.
    bool Decode(std::string_view bytes, const Take& take);
    // Whether it was too much. What comes out of each coding counts: one that makes next to nothing of it
    // hides from the file what the one before it makes.
    bool IsTooMuch() const { return m_isTooMuch; }
    // Whether the stream is complete.
    bool AtEnd() const;

  private:
    // One coding, undone.
    class Stage {
      public:
        explicit Stage(bool isGzip);
        bool Decode(std::string_view bytes, const Take& take);
        bool AtEnd() const { return m_atEnd; }

        std::int64_t made = 0;  // bytes that have come out

      private:
        struct Release {
            void operator()(GConverter* converter) const { g_object_unref(converter); }
        };
        std::unique_ptr<GConverter, Release> m_converter;  // null until it is known which one
        std::string m_start;                               // what came before that
        bool m_atEnd = false;
    };

    bool DecodeFrom(std::size_t stage, std::string_view bytes, const Take& take);

    std::vector<Stage> m_stages;  // the coding applied last at the front
    Limits m_limits;
    std::int64_t m_sent = 0;  // bytes that have come in
    bool m_isTooMuch = false;
};

}  // namespace tsasync::platform::reader
