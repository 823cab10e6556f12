#include "platform/clock.h"

#include "tests/platform/clock.h"

#include <cmath>

namespace tsasync {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kTenOClock = 45366 + 10.0 / 24;

thread_local double g_now = kTenOClock;

}  // namespace

void testplatform::SetNow(double automationDate) { g_now = automationDate; }

void testplatform::AdvanceSeconds(double seconds) { g_now += seconds / kSecondsPerDay; }

double platform::Now() { return g_now; }

float platform::SecondsSinceMidnight() {
    return static_cast<float>((g_now - std::floor(g_now)) * kSecondsPerDay);
}

}  // namespace tsasync
