#pragma once

#include <cstdint>
#include <string>
#include <vector>

// An application log in memory, one per thread.
namespace tsasync::testplatform {

struct LogStart {
    std::u16string target;
    std::int32_t mode = 0;
};

// Every accepted call of StartLog since ResetLog.
const std::vector<LogStart>& LogStarts();
// The error number with which every StartLog is refused from now on; 0: none is.
void RefuseLog(std::int32_t error);
void ResetLog();

}  // namespace tsasync::testplatform
