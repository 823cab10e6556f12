#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tsasync::platform {

// How long a read waits for what, and how much it takes.
struct Limits {
    std::size_t connectionsPerHost = 6;
    std::size_t connections = 64;
    std::chrono::milliseconds fewerFor{60'000};  // that a host which turned a read away has fewer of them
    std::chrono::milliseconds connect{30'000};   // until a connection, TLS included, must stand
    std::chrono::milliseconds head{120'000};     // until the head of the answer must be complete
    std::chrono::milliseconds silence{60'000};   // without a byte, after which a read fails
    // That the body of an answer that is none of ours may take, so that its connection can be kept.
    std::chrono::milliseconds unwanted{100};
    std::chrono::milliseconds longestSniff{2'000};  // that content may wait for more to tell its type
    std::chrono::milliseconds keptOpen{10'000};     // that connections stay open when nothing is read
    std::chrono::milliseconds firstPause{500};      // of a read that was turned away: Patience
    std::chrono::milliseconds patience{30'000};     // the sum of these pauses
    // Decoded content that is larger than this must not be a hundred times what was sent.
    std::int64_t decoded = 100'000'000;
};

// Whether `decoded` bytes are more than `sent` ones can honestly stand for.
inline bool IsInflated(std::int64_t decoded, std::int64_t sent, const Limits& limits) {
    return decoded > limits.decoded && decoded / 100 > sent;
}

}  // namespace tsasync::platform
