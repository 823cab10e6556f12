// A program on GLib alone: glib_host URL ASSETS LANGUAGE [thread]. With "thread" everything happens in a
// thread of its own, with that thread's own main context.
#include "tests/ui/hosts/forced_download.h"

#include <glib.h>

#include <thread>

namespace {

int RunOn(GMainContext* context, const testhost::Order& order) {
    int ticks = 0;
    GSource* const timer = g_timeout_source_new(20);
    g_source_set_callback(
        timer,
        [](void* counter) -> gboolean {
            ++*static_cast<int*>(counter);
            return G_SOURCE_CONTINUE;
        },
        &ticks, nullptr);
    g_source_attach(timer, context);
    const int status = testhost::Run(order, ticks);
    g_source_destroy(timer);
    g_source_unref(timer);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    const testhost::Order order = testhost::OrderFrom(argv);
    if (argc < 5) return RunOn(nullptr, order);
    int status = 1;
    std::thread([&] {
        GMainContext* const context = g_main_context_new();
        g_main_context_push_thread_default(context);
        status = RunOn(context, order);
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
    }).join();
    return status;
}
