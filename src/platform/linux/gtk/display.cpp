#include "platform/linux/gtk/display.h"

#include <gdk/gdkx.h>
#include <gdkmm/display.h>
#include <unistd.h>

#include <array>
#include <bitset>
#include <memory>
#include <optional>

namespace tsasync::platform::display {

namespace {

GdkDisplay* X11Display() {
    GdkDisplay* const display = gdk_display_get_default();
    return GDK_IS_X11_DISPLAY(display) ? display : nullptr;
}

std::uint32_t MonotonicMilliseconds() { return static_cast<std::uint32_t>(g_get_monotonic_time() / 1000); }

// The first number of a property; none where the window has none of that type.
std::optional<unsigned long> NumberOf(GdkWindow* window, const char* property, const char* type) {
    GdkAtom actualType = nullptr;
    int format = 0;
    int size = 0;
    guchar* bytes = nullptr;
    const bool found =
        gdk_property_get(window, gdk_atom_intern_static_string(property), gdk_atom_intern_static_string(type),
                         0, sizeof(unsigned long), FALSE, &actualType, &format, &size, &bytes) != FALSE;
    const std::unique_ptr<guchar, decltype(&g_free)> owned(bytes, &g_free);
    if (!found || format != 32 || size < static_cast<int>(sizeof(unsigned long))) return std::nullopt;
    return *reinterpret_cast<const unsigned long*>(bytes);  // as which the library gives 32 bits
}

}  // namespace

// The server's clock, with which it stamps events. Another display's is not known: there a key counts as
// pressed when it is handled.
std::uint32_t Now(const Glib::RefPtr<Gdk::Window>& window) {
    return X11Display() ? gdk_x11_get_server_time(window->gobj()) : MonotonicMilliseconds();
}

std::uint32_t TimeOf(const GdkEventKey& press) { return X11Display() ? press.time : MonotonicMilliseconds(); }

std::set<unsigned> KeysDown() {
    GdkDisplay* const display = X11Display();
    if (!display) return {};
    std::array<char, 32> bytes{};  // a bit for each key
    XQueryKeymap(GDK_DISPLAY_XDISPLAY(display), bytes.data());
    std::set<unsigned> keys;
    for (unsigned i = 0; i < bytes.size(); ++i) {
        const std::bitset<8> bits(static_cast<unsigned char>(bytes[i]));
        for (unsigned bit = 0; bit < bits.size(); ++bit) {
            if (bits[bit]) keys.insert(8 * i + bit);
        }
    }
    return keys;
}

Glib::RefPtr<Gdk::Window> ActiveWindow() {
    GdkDisplay* const display = X11Display();
    if (!display) return {};
    const auto active = NumberOf(gdk_get_default_root_window(), "_NET_ACTIVE_WINDOW", "WINDOW");
    if (!active || *active == 0) return {};
    // The window may go at any moment.
    gdk_x11_display_error_trap_push(display);
    GdkWindow* const window = gdk_x11_window_foreign_new_for_display(display, *active);
    const auto owner = window ? NumberOf(window, "_NET_WM_PID", "CARDINAL") : std::nullopt;
    gdk_x11_display_error_trap_pop_ignored(display);
    auto owned = Glib::wrap(window);
    if (owner != static_cast<unsigned long>(getpid())) return {};
    return owned;
}

}  // namespace tsasync::platform::display
