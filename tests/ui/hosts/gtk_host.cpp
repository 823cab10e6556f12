// A GTK 3 program with a window of its own: gtk_host URL ASSETS LANGUAGE. The download is forced from its
// main loop.
#include "tests/ui/hosts/forced_download.h"

#include <gtk/gtk.h>

namespace {

struct State {
    testhost::Order order;
    int ticks = 0;
    int status = 1;
};

gboolean Tick(void* state) {
    ++static_cast<State*>(state)->ticks;
    return G_SOURCE_CONTINUE;
}

gboolean Fetch(void* data) {
    auto& state = *static_cast<State*>(data);
    state.status = testhost::Run(state.order, state.ticks);
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    State state{testhost::OrderFrom(argv)};
    GtkWidget* const window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "Host");
    gtk_widget_show(window);
    g_timeout_add(20, Tick, &state);
    g_timeout_add(300, Fetch, &state);
    gtk_main();
    return state.status;
}
