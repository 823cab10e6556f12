#pragma once

#include <cstdint>
#include <string_view>

namespace tsasync::platform {

// Starts the host process's application log.
//
// `target` is the path of the log file. `mode` is one destination (0 the system's choice, 1 off, 2 to the
// file, 3 to the system's event log) plus flags (16 overwrite the file now, 32 put the thread's number before
// each entry, where the destination is 2 or 3). A later call replaces the earlier one. Returns 0, or the
// runtime error number of an unusable target (53 no file named, 70 permission denied, 76 path not found) or
// mode (5 unknown); the earlier log then stays.
std::int32_t StartLog(std::u16string_view target, std::int32_t mode);

// Writes one entry to the application log. Used where an error has no caller to go to.
void LogEntry(std::u16string_view text);

}  // namespace tsasync::platform
