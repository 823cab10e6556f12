#include "com/ModuleLock.h"

#include <atomic>

namespace tsasync::com {

namespace {

std::atomic<long> g_moduleLocks{0};

}  // namespace

void AddModuleLock() noexcept { ++g_moduleLocks; }

void ReleaseModuleLock() noexcept { --g_moduleLocks; }

bool IsModuleLocked() noexcept { return g_moduleLocks > 0; }

}  // namespace tsasync::com
