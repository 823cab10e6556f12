// A program on GLib alone: glib_host URL ASSETS LANGUAGE [MODE]. With "context" everything happens on a main
// context of the program's own, with "thread" in a thread of its own too; with "late" such a context becomes
// the thread's default only when the manager is there.
#include "tests/ui/hosts/forced_download.h"

#include <glib.h>

#include <string_view>
#include <thread>

namespace {

int RunOn(
    GMainContext* context, const testhost::Order& order, const std::function<void()>& prepared = [] {}) {
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
    const int status = testhost::Run(order, ticks, prepared);
    g_source_destroy(timer);
    g_source_unref(timer);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    const testhost::Order order = testhost::OrderFrom(argv);
    if (argc < 5) return RunOn(nullptr, order);
    const std::string_view mode = argv[4];
    if (mode == "busy") {
        const int done = RunOn(nullptr, order);
        std::fflush(stdout);
        std::getchar();
        return done;
    }
    GMainContext* const own = g_main_context_new();
    const auto push = [&] { g_main_context_push_thread_default(own); };
    int status = 1;
    const auto runOnOwn = [&] {
        push();
        status = RunOn(own, order);
        g_main_context_pop_thread_default(own);
    };
    if (mode == "thread") {
        std::thread(runOnOwn).join();
    } else if (mode == "context") {
        runOnOwn();
    } else if (mode == "late") {
        status = RunOn(nullptr, order, push);
        g_main_context_pop_thread_default(own);
    }
    g_main_context_unref(own);
    return status;
}
