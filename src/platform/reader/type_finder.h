#pragma once

#include "platform/reader/media_types.h"

#include <chrono>
#include <string>
#include <string_view>

namespace tsasync::platform::reader {

// Finds the media type of content while it comes in: at once where the server's stands on its own, else as
// soon as enough of the content is there, or late with what is there.
class TypeFinder {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // `longest`: that content may wait for more of it.
    explicit TypeFinder(std::chrono::milliseconds longest) : m_longest(longest) {}

    // Content begins that its server says to be `sent`. Of data that it continues, `kept` is the type and
    // `beginning` the first bytes, kSniffSize at most; both are empty when there is none.
    void Begin(std::string_view sent, std::string_view kept, std::string beginning, TimePoint now);
    // More of it has come.
    void Add(std::string_view bytes, TimePoint now);

    // Whether more of the content would not tell more.
    bool IsSure() const { return !WantsContent(m_sent) || m_start.size() == kSniffSize; }
    // When what is there must do; max() while nothing is.
    TimePoint Due() const { return m_start.empty() ? TimePoint::max() : m_since + m_longest; }
    // As far as is known.
    std::string TypeOf(std::string_view url) const { return EffectiveMediaType(m_sent, url, m_start); }

  private:
    std::chrono::milliseconds m_longest;
    std::string m_sent;
    std::string m_start;
    TimePoint m_since;  // when it began to come
};

}  // namespace tsasync::platform::reader
