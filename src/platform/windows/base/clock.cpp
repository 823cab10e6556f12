#include "platform/clock.h"

#include <windows.h>

#include <cstdint>

namespace tsasync::platform {

namespace {

constexpr double kTicksPerDay = 864e9;      // a tick of a file time is 100 ns
constexpr double kFirstFileTime = -109205;  // 1 January 1601 as an automation date
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kSecondsPerDay = 86400;

std::uint64_t LocalTicks() {
    FILETIME universal{};
    FILETIME local{};
    GetSystemTimePreciseAsFileTime(&universal);
    FileTimeToLocalFileTime(&universal, &local);
    return (static_cast<std::uint64_t>(local.dwHighDateTime) << 32) | local.dwLowDateTime;
}

}  // namespace

double Now() { return kFirstFileTime + static_cast<double>(LocalTicks()) / kTicksPerDay; }

float SecondsSinceMidnight() {
    const std::uint64_t ticks = LocalTicks() % (kSecondsPerDay * kTicksPerSecond);
    return static_cast<float>(static_cast<double>(ticks) / kTicksPerSecond);
}

}  // namespace tsasync::platform
