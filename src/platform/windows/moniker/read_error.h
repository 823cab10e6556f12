#pragma once

#include "platform/url_reader.h"

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace tsasync::platform {

// The failures of a read. Each description names the culprit, a URL without its user and password; the
// numbers are the same on every system.
ReadFailure Failure(std::int32_t number, std::u16string_view what, std::u16string_view culprit);

// A binding that ended with `result`, a failure.
ReadFailure BindingFailure(HRESULT result, std::u16string_view url);

// Why a binding to a file of this machine ended with `result`: what opening the file says, or else the same.
HRESULT CauseOfFile(std::u16string_view url, HRESULT result);

// Whether a response of this status holds the data that was asked for.
bool IsSuccess(DWORD status);
ReadFailure StatusFailure(DWORD status, std::u16string_view url);

// A call of the system on a file that failed with `error`.
ReadFailure FileFailure(DWORD error, std::u16string_view path);

}  // namespace tsasync::platform
