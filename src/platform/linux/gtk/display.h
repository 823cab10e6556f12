#pragma once

#include <gdkmm/window.h>

#include <cstdint>
#include <set>

// What GTK leaves to the kind of display: X11, or another that tells less.
namespace tsasync::platform::display {

// A point in time on the clock of TimeOf.
std::uint32_t Now(const Glib::RefPtr<Gdk::Window>& window);
// When the key went down, in milliseconds.
std::uint32_t TimeOf(const GdkEventKey& press);

// The hardware codes of the keys that are down. Known on X11 alone; no other display repeats a key that went
// down in another window.
std::set<unsigned> KeysDown();

// The window that the user works with, if it is one of this process, of whatever toolkit. Null but on X11.
Glib::RefPtr<Gdk::Window> ActiveWindow();

}  // namespace tsasync::platform::display
