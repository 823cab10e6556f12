#pragma once

#include "base/AutomationError.h"
#include "platform/url_reader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A reader that reads nothing: it keeps what it was asked for, and delivers the notifications that the test
// fires, at once and however nested. Everything here concerns the calling thread's newest reader.
namespace tsasync::testplatform {

struct OpenRead {
    std::u16string name;
    std::u16string target;
    std::u16string nearFolder;
};

// The reads under way, in order of start.
const std::vector<OpenRead>& OpenReads();
bool IsReading(std::u16string_view name);

// The error number with which every start is refused from now on; 0: none is.
void RefuseReads(std::int32_t error);
// From now on every call to the reader lacks memory, or none does.
void LackMemory(bool lack);
// The error number that every cancellation of an open read meets, which then goes on; 0: none does.
void RefuseCancels(std::int32_t error);

// Notifications for the read `name`.
platform::AsyncProperty Status(std::u16string_view name, std::int32_t code, std::u16string_view text = {});
platform::AsyncProperty Bytes(std::u16string_view name, std::int32_t read, std::int32_t max);
platform::AsyncProperty Error(std::u16string_view name, std::int32_t number);
platform::AsyncProperty Done(std::u16string_view name, std::u16string_view file, std::u16string_view target,
                             std::int32_t size = 0);
platform::AsyncProperty Failed(std::u16string_view name, std::int32_t number);

// Deliver a notification, also for a read that is not open, and give the error that came back from its
// receiver. A completion ends the read first.
std::optional<AutomationError> FireProgress(const platform::AsyncProperty& property);
std::optional<AutomationError> FireComplete(const platform::AsyncProperty& property);

}  // namespace tsasync::testplatform
