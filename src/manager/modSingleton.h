#pragma once

#include "manager/JobRegistry.h"
#include "transfer/CAsyncT.h"

#include <cstdint>
#include <memory>

// What all managers of a thread share. Threads share nothing.
namespace tsasync::modSingleton {

inline constexpr std::int16_t kMaxActive = 3;

struct ThreadState {
    std::unique_ptr<JobRegistry> g_colJobs;  // null while the thread has no manager
    std::shared_ptr<CAsyncT> g_oCAT;         // null likewise
    std::int32_t g_lManagerCount = 0;
    std::int16_t g_iMaxActive = kMaxActive;  // limit of simultaneous transfers
};

ThreadState& State();

// The thread's jobs. Throws 91 when they are gone.
JobRegistry& Jobs();

// Whether the thread is ending and its state is gone. A host may drop its last manager later still, from the
// destructor of a static object.
bool HasEnded();

}  // namespace tsasync::modSingleton
