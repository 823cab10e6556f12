#include "tests/platform/app_log.h"

#include "platform/app_log.h"

namespace tsasync {

namespace {

struct LogState {
    std::vector<testplatform::LogStart> starts;
    std::int32_t refusal = 0;
};

thread_local LogState g_log;

}  // namespace

std::int32_t platform::StartLog(std::u16string_view target, std::int32_t mode) {
    if (g_log.refusal != 0) return g_log.refusal;
    g_log.starts.push_back({std::u16string(target), mode});
    return 0;
}

void platform::LogEntry(std::u16string_view /*text*/) {}

const std::vector<testplatform::LogStart>& testplatform::LogStarts() { return g_log.starts; }

void testplatform::RefuseLog(std::int32_t error) { g_log.refusal = error; }

void testplatform::ResetLog() { g_log = {}; }

}  // namespace tsasync
