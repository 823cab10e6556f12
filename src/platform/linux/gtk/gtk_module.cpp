#include "platform/linux/gtk/gtk_module.h"

#include "platform/linux/gtk/gtk_progress_window.h"

#include <gtk/gtk.h>
#include <gtkmm/main.h>

#include <mutex>

namespace tsasync::platform {

namespace {

// Opens the display and takes nothing over from the host: its locale stays. False where there is none.
bool GtkIsReady() {
    if (!gdk_display_get_default()) {
        // GTK takes this before its first start only, which may have found no display.
        static std::once_flag first;
        std::call_once(first, gtk_disable_setlocale);
        if (!gtk_init_check(nullptr, nullptr)) return false;
    }
    Gtk::Main::init_gtkmm_internals();
    return true;
}

}  // namespace

}  // namespace tsasync::platform

extern "C" __attribute__((visibility("default"))) tsasync::platform::ProgressWindow*
qmasyn10_create_gtk_window(tsasync::platform::IProgressWindowEvents& events, void (*logError)()) {
    using namespace tsasync::platform;
    return GtkIsReady() ? new GtkProgressWindow(events, logError) : nullptr;
}
