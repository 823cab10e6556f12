#pragma once

#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace assetfetch {

enum class Outcome : std::uint8_t { kOpen, kFinished, kFailed };

// What this host knows of one URL. Text is UTF-8.
struct Job {
    std::size_t index = 0;  // in order of the command line
    std::string url;        // as it was given
    std::string name;       // to show; never empty
    std::string handle;     // empty for a URL that was refused before it was registered
    std::string mime;
    std::string path;                  // where the finished file is
    std::string reason;                // why it failed
    TSDLStateEnum state = tsdStopped;  // as last heard of
    Outcome outcome = Outcome::kOpen;
    std::int64_t size = 0;   // bytes received; until it has finished at most what a record can say
    std::int64_t total = 0;  // bytes expected, likewise; not above `size` while that is unknown
    bool arrived = false;    // all of it, wherever it is
    int attempts = 0;
    int failures = 0;  // of the attempts, reported so far
    tsasync::host::ComPtr<_CDLItem> item;
};

// Sums over all jobs, kept as they change.
struct Totals {
    std::size_t jobs = 0;
    std::size_t finished = 0;
    std::size_t failed = 0;
    std::int64_t received = 0;  // bytes
    std::int64_t expected = 0;  // bytes, as far as they are known

    std::size_t Open() const { return jobs - finished - failed; }
};

}  // namespace assetfetch
