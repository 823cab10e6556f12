#pragma once

#include <cstdint>

namespace tsasync::platform {

// The reader's waiting times in milliseconds. Only tests ever change them, before the first read.
struct TimingValues {
    std::uint64_t connect = 30'000;      // until a connection must stand
    std::uint64_t silence = 60'000;      // without a sign of the server, after which a read fails
    std::uint64_t longestSniff = 2'000;  // that content may wait for more to tell its type
    std::uint32_t secondTry =
        500;  // before the second try, up to a half more, where the server names no time
    std::int64_t longestWait = 2'000;  // that a server may name for the second try
};

inline TimingValues& Timing() {
    static TimingValues values;
    return values;
}

}  // namespace tsasync::platform
