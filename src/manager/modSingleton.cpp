#include "manager/modSingleton.h"

#include "base/AutomationError.h"

namespace tsasync::modSingleton {

namespace {

thread_local bool g_hasEnded = false;  // has no destructor, so it can be read to the very end

struct EndingState : ThreadState {
    ~EndingState() { g_hasEnded = true; }
};

}  // namespace

ThreadState& State() {
    thread_local EndingState state;
    return state;
}

JobRegistry& Jobs() {
    if (HasEnded()) Raise(kErrObjectNotSet);
    const auto& jobs = State().g_colJobs;
    if (!jobs) Raise(kErrObjectNotSet);
    return *jobs;
}

bool HasEnded() { return g_hasEnded; }

}  // namespace tsasync::modSingleton
