#pragma once

#include "base/AutomationError.h"

namespace tsasync {

// The error that `operation` raises; number 0: none.
template <typename Operation>
AutomationError ErrorOf(const Operation& operation) {
    try {
        operation();
    } catch (...) {
        return CurrentError();
    }
    return {};
}

}  // namespace tsasync
