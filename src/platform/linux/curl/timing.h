#pragma once

#include <chrono>

namespace tsasync::platform::reader {

// The reader's waiting times. They are read when a transfer begins; only tests ever change them, before the
// process's first read.
struct TimingValues {
    std::chrono::milliseconds connect{30'000};      // until a connection, TLS included, must stand
    std::chrono::milliseconds silence{60'000};      // without a byte, after which a transfer fails
    std::chrono::milliseconds longestSniff{2'000};  // that content may wait for more to tell its type
    std::chrono::milliseconds secondTry{
        500};  // before the second try, up to a half more, where the server names no time
    std::chrono::milliseconds keptOpen{10'000};    // that connections stay open when nothing is read
    std::chrono::milliseconds longestWait{2'000};  // that a server may name for the second try
};

inline TimingValues& Timing() {
    static TimingValues values;
    return values;
}

}  // namespace tsasync::platform::reader
