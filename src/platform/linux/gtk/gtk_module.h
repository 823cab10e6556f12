#pragma once

#include "platform/progress_window.h"

// The one entry of the GTK module, which the component loads when it first needs a window.
namespace tsasync::platform {

// Makes a window, owned by the caller; null where GTK can't show one. `logError` is called with what `events`
// throws as the exception that is being handled.
using CreateGtkWindow = ProgressWindow*(IProgressWindowEvents& events, void (*logError)());

inline constexpr const char* kCreateGtkWindow = "qmasyn10_create_gtk_window";

}  // namespace tsasync::platform
