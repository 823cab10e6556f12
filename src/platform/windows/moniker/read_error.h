#pragma once

#include "platform/reader/failure.h"

#include <windows.h>

#include <string_view>

namespace tsasync::platform {

// Failures that this system alone tells.

// A binding that ended with `result`, a failure.
ReadFailure BindingFailure(HRESULT result, std::string_view url);

// Why a binding to a file of this machine ended with `result`: what opening the file says, or else the same.
HRESULT CauseOfFile(std::string_view url, HRESULT result);

// A call of the system on a file that failed with `error`.
ReadFailure FileFailure(DWORD error, std::u16string_view path);

}  // namespace tsasync::platform
