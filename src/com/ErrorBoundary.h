#pragma once

#include "base/AutomationError.h"
#include "tsasync/com.h"

#include <exception>
#include <new>
#include <utility>

// Where the core's exceptions become results, and hosts' failures become exceptions of the core.
namespace tsasync::com {

// 0x800A0000 + n for a runtime error n from 1 to 65535; a negative number as it is.
HRESULT ResultOf(std::int32_t number) noexcept;
// The reverse.
std::int32_t NumberOf(HRESULT result) noexcept;

// Makes `error` the thread's error object, raised by the interface `iid`, and returns its result. An error
// without a description gets the generic text of its number.
HRESULT ReportError(const AutomationError& error, REFIID iid) noexcept;

// What a call tells of its failure; frees its strings.
struct OwnedExcepInfo : EXCEPINFO {
    OwnedExcepInfo() : EXCEPINFO{} {}
    OwnedExcepInfo(const OwnedExcepInfo&) = delete;
    OwnedExcepInfo& operator=(const OwnedExcepInfo&) = delete;
    ~OwnedExcepInfo() {
        for (const BSTR text : {bstrSource, bstrDescription, bstrHelpFile}) SysFreeString(text);
    }
};

// Moves the thread's error object into `info` where there is one. False when there is none.
bool TakeError(HRESULT result, EXCEPINFO& info) noexcept;

// The error of a host that answered a call with `result` and, where that is DISP_E_EXCEPTION, with `info`.
AutomationError ErrorOf(HRESULT result, EXCEPINFO& info);

// Runs `operation` for the interface `iid`. Nothing is thrown from here.
template <typename Operation>
HRESULT Guarded(REFIID iid, Operation&& operation) noexcept {
    try {
        std::forward<Operation>(operation)();
        return S_OK;
    } catch (const AutomationError& error) {
        return ReportError(error, iid);
    } catch (const std::bad_alloc&) {
        SetErrorInfo(0, nullptr);
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        SetErrorInfo(0, nullptr);
        return E_UNEXPECTED;
    }
}

}  // namespace tsasync::com
