#pragma once

#include "base/AutomationError.h"
#include "platform/app_log.h"

#include <string>

namespace tsasync {

// Writes the exception that is being handled to the application log, where nobody else can be told of it.
inline void LogCurrentError() noexcept {
    try {
        const AutomationError error = CurrentError();
        std::u16string line = u"Error " + FromUtf8(std::to_string(error.number));
        if (!error.source.empty()) line += u" of " + error.source;
        if (!error.description.empty()) line += u": " + error.description;
        platform::LogEntry(line);
    } catch (...) {
        // Without memory for the entry nobody can be told.
        return;
    }
}

}  // namespace tsasync
