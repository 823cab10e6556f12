#pragma once

#include "base/ErrorNumbers.h"
#include "base/Utf8.h"

#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace tsasync {

// The one exception of the core: an automation error. What no handler on the way takes for part of its flow
// is caught in two places, the COM boundary and the platform's notification dispatch.
//
// A number from 1 to 65535 is a runtime error (5: invalid procedure call, 53: file not found, 457: duplicate
// key); a negative number is an HRESULT and reaches the host as it stands.
struct AutomationError {
    std::int32_t number = 0;
    std::u16string source;
    std::u16string description;  // empty: the boundary supplies the generic text of the number
    std::u16string helpFile;
    std::int32_t helpContext = 0;

    // The same error as raised again by another procedure.
    AutomationError From(std::u16string newSource) const {
        AutomationError copy = *this;
        copy.source = std::move(newSource);
        return copy;
    }
};

// Throws; the one way in which an error of the component's own is raised.
[[noreturn]] inline void Raise(std::int32_t number, std::u16string source = {},
                               std::u16string description = {}, std::u16string helpFile = {},
                               std::int32_t helpContext = 0) {
    throw AutomationError{number, std::move(source), std::move(description), std::move(helpFile),
                          helpContext};
}

// The exception that is being handled; what is no automation error becomes one, for who treats all alike.
inline AutomationError CurrentError() {
    try {
        throw;
    } catch (const AutomationError& error) {
        return error;
    } catch (const std::bad_alloc&) {
        return {kErrOutOfMemory, {}, {}, {}, 0};
    } catch (const std::exception& error) {
        return {kErrInternal, {}, FromUtf8(error.what()), {}, 0};
    } catch (...) {
        return {kErrInternal, {}, {}, {}, 0};
    }
}

// Runs `operation`; an automation error that leaves it goes on with `source` as its source.
template <typename Operation>
auto WithErrorSource(std::u16string_view source, Operation&& operation) {
    try {
        return operation();
    } catch (const AutomationError& error) {
        throw error.From(std::u16string(source));
    }
}

}  // namespace tsasync
