#include "base/Text.h"
#include "base/Utf8.h"
#include "manager/CDLManager.h"
#include "tests/linux/scratch.h"
#include "tests/linux/web_server.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <thread>

// Two threads, each with a manager and a main context of its own, downloading at once from one server,
// through the real reader.
namespace tsasync {
namespace {

constexpr int kJobs = 30;

std::string ContentOf(const std::string& name) { return name + std::string(20'000, name.back()); }

// A host on the calling thread, with the thread's own main context.
class Host final : IManagerEvents {
  public:
    explicit Host(const std::string& folder) : m_context(g_main_context_new()) {
        g_main_context_push_thread_default(m_context);
        manager = CDLManager::Create(*this);
        manager->SetAssetsPath(FromUtf8(folder));
        manager->SetAutoStart(true);
    }
    ~Host() {
        manager->Terminate();
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void RunUntilAllEnded() {
        while (m_ended < kJobs) g_main_context_iteration(m_context, TRUE);
    }

    std::shared_ptr<CDLManager> manager;
    int finished = 0;
    bool heardOnOtherThread = false;

  private:
    void StateChanged(const std::shared_ptr<CDLItem>& oI) override {
        if (std::this_thread::get_id() != m_thread) heardOnOtherThread = true;
        if (oI->State() == tsdFinished) ++finished;
        // A job that fails waits three minutes; here that is the end of it.
        const bool failed = oI->State() == tsdPending && oI->Attempts() > 0;
        if (oI->State() == tsdFinished || oI->State() == tsdBroken || failed) ++m_ended;
    }

    GMainContext* m_context;
    const std::thread::id m_thread = std::this_thread::get_id();
    int m_ended = 0;
};

TEST(Threads, DownloadAtOnceAndShareNothing) {
    const tests::ScratchFolder home;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        g_setenv(name, home.Path().c_str(), TRUE);
    }
    g_setenv("GIO_USE_PROXY_RESOLVER", "dummy", TRUE);  // not the desktop's, whatever it says
    // GLib makes its folder names once, under a lock that ThreadSanitizer does not see: here, before the
    // threads begin.
    { const Host host(home.Path()); }
    {
        const tests::WebServer server([](httplib::Server& routes) {
            routes.Get(R"(/(.+))", [](const auto& asked, auto& answer) {
                answer.set_content(ContentOf(asked.matches[1].str()), "application/pdf");
            });
        });
        std::barrier together(2);
        const auto download = [&](char letter) {
            const std::string folder = home / std::string(1, letter);
            Host host(folder);
            together.arrive_and_wait();
            for (int i = 0; i < kJobs; ++i) {
                host.manager->AddURL(FromUtf8(server / ("shared" + std::to_string(i) + letter)));
            }
            host.RunUntilAllEnded();
            EXPECT_EQ(host.finished, kJobs);
            EXPECT_EQ(host.manager->Jobs(), kJobs);
            EXPECT_FALSE(host.heardOnOtherThread);
            for (int i = 0; i < kJobs; ++i) {
                const std::string name = "shared" + std::to_string(i) + letter;
                EXPECT_EQ(tests::Read(folder + "/" + name + ".pdf"), ContentOf(name)) << name;
            }
            together.arrive_and_wait();
        };
        std::thread second(download, 'b');
        download('a');  // on a thread whose earlier manager had a context that is gone
        second.join();
    }
}

}  // namespace
}  // namespace tsasync
