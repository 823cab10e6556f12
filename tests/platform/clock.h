#pragma once

namespace tsasync::testplatform {

// The time that the platform's clock tells; it stands still between calls. Starts at 10:00:00 on 15 March
// 2024.
void SetNow(double automationDate);
void AdvanceSeconds(double seconds);  // negative: the clock steps back

}  // namespace tsasync::testplatform
