#include "platform/clock.h"

#include <time.h>

namespace tsasync::platform {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kUnixEpoch = 25569;  // 1 January 1970 as an automation date

struct LocalTime {
    double secondsSinceEpoch = 0;  // as if the local time were UTC
    double secondsSinceMidnight = 0;
};

LocalTime ReadLocalTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    localtime_r(&now.tv_sec, &parts);
    const double fraction = static_cast<double>(now.tv_nsec) / 1e9;
    return {static_cast<double>(now.tv_sec + parts.tm_gmtoff) + fraction,
            parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec + fraction};
}

}  // namespace

double Now() { return kUnixEpoch + ReadLocalTime().secondsSinceEpoch / kSecondsPerDay; }

float SecondsSinceMidnight() { return static_cast<float>(ReadLocalTime().secondsSinceMidnight); }

}  // namespace tsasync::platform
