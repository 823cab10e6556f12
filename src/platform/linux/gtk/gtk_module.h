#pragma once

#include "platform/progress_window.h"

#include <string_view>

// The one entry of the GTK module, which the component loads when it first needs a window.
namespace tsasync::platform {

// Makes a window, owned by the caller; null where GTK can't show one. Errors of `events` go to `logEntry`.
using CreateGtkWindow = ProgressWindow*(IProgressWindowEvents& events, void (*logEntry)(std::u16string_view));

inline constexpr const char* kCreateGtkWindow = "qmasyn10_create_gtk_window";

}  // namespace tsasync::platform
