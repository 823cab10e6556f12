// A GTK 3 program with a window of its own: gtk_host URL ASSETS LANGUAGE. The download is forced from its
// main loop. Its timer asks for the window to be drawn; the ticks are the drawings, the presses those of a
// mouse button while the dialog is open.
#include "tests/ui/hosts/forced_download.h"

#include <gtk/gtk.h>

namespace {

struct State {
    testhost::Order order;
    GtkWidget* window = nullptr;
    int ticks = 0;
    int presses = 0;
    int status = 1;
};

gboolean Tick(void* state) {
    gtk_widget_queue_draw(static_cast<State*>(state)->window);
    return G_SOURCE_CONTINUE;
}

gboolean Count(int* number) {
    ++*number;
    return FALSE;
}

gboolean Fetch(void* data) {
    auto& state = *static_cast<State*>(data);
    state.presses = 0;
    state.status = testhost::Run(state.order, state.ticks);
    std::printf("presses=%d\n", state.presses);
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    State state{testhost::OrderFrom(argv), gtk_window_new(GTK_WINDOW_TOPLEVEL)};
    gtk_window_set_title(GTK_WINDOW(state.window), "Host");
    gtk_widget_add_events(state.window, GDK_BUTTON_PRESS_MASK);
    g_signal_connect_swapped(state.window, "draw", G_CALLBACK(Count), &state.ticks);
    g_signal_connect_swapped(state.window, "button-press-event", G_CALLBACK(Count), &state.presses);
    gtk_widget_show(state.window);
    g_timeout_add(20, Tick, &state);
    g_timeout_add(300, Fetch, &state);
    gtk_main();
    return state.status;
}
