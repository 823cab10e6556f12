#pragma once

#include "platform/reader/limits.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

namespace tsasync::platform {

// How often a read asks again whose server turns it away: answers 429 or 503, or refuses the connection.
class Patience {
  public:
    explicit Patience(const Limits& limits) : m_limits(limits), m_own(limits.firstPause) {}

    // The pause before the next try: one of our own, each twice as long as the one before, or the seconds
    // that the server has named, if they are more. Nothing when all pauses together would be too long: the
    // read has failed. `read` is any number of the read's, by which those that were turned away together come
    // back apart.
    std::optional<std::chrono::milliseconds> Next(std::optional<std::int64_t> named, std::uint64_t read) {
        constexpr std::int64_t kDay = 86'400;
        constexpr std::chrono::milliseconds kLongest(4'000);
        std::chrono::milliseconds pause = m_own + m_own * (read % 16) / 32;
        if (named)
            pause = std::max<std::chrono::milliseconds>(pause, std::chrono::seconds(std::min(*named, kDay)));
        if (m_waited + pause > m_limits.patience) return std::nullopt;
        m_own = std::min(m_own * 2, std::max(kLongest, m_limits.firstPause));
        m_waited += pause;
        m_isTried = true;
        return pause;
    }
    bool IsTried() const { return m_isTried; }

  private:
    const Limits& m_limits;
    std::chrono::milliseconds m_own;
    std::chrono::milliseconds m_waited{0};
    bool m_isTried = false;
};

}  // namespace tsasync::platform
