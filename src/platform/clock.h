#pragma once

namespace tsasync::platform {

// The current local time as an automation date: days since 30 December 1899, the time of day as the fraction
// (for a date before that day the fraction still counts forward). Resolution: one millisecond or better.
double Now();

// Seconds since local midnight, 0 to 86400, in single precision as the automation runtime's timer gives them.
float SecondsSinceMidnight();

}  // namespace tsasync::platform
