#pragma once

#include <cstdint>

namespace tsasync {

// The state of a job. A host may store any other 32-bit number in a record, too.
enum TSDLStateEnum : std::int32_t {
    tsdStopped = 0,      // registered, not scheduled
    tsdStarting = 1,     // a transfer is requested, no data yet
    tsdDownloading = 2,  // data is arriving
    tsdPending = 3,      // waiting to be started
    tsdFinished = 4,     // the file is in its final place
    tsdBroken = 5,       // given up
};

}  // namespace tsasync
