#include "platform/linux/curl/timing.h"
#include "tests/linux/reader_host.h"
#include "tests/server/conversations.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <future>
#include <map>
#include <mutex>

namespace tsasync::tests {
namespace {

// What the desktop's settings say, as the tests command it: the proxies for each origin, with blanks between,
// which may take their time.
struct Desktop {
    std::mutex mutex;
    std::map<std::string, std::shared_future<std::string>> answers;  // direct where none is given
    std::map<std::string, int> asked;

    static Desktop& Get() {
        static Desktop desktop;
        return desktop;
    }
    void Answer(const std::string& origin, std::shared_future<std::string> answer) {
        const std::lock_guard lock(mutex);
        answers[origin] = std::move(answer);
    }
    int Asked(const std::string& origin) {
        const std::lock_guard lock(mutex);
        return asked[origin];
    }
    std::string Lookup(const std::string& origin) {
        std::shared_future<std::string> answer;
        {
            const std::lock_guard lock(mutex);
            ++asked[origin];
            answer = answers[origin];
        }
        return answer.valid() ? answer.get() : "direct://";
    }
};

void LookupAsync(GProxyResolver* self, const gchar* uri, GCancellable* cancel, GAsyncReadyCallback done,
                 gpointer data) {
    GTask* task = g_task_new(self, cancel, done, data);
    g_task_set_return_on_cancel(task, TRUE);
    g_task_set_task_data(task, g_strdup(uri), g_free);
    g_task_run_in_thread(task, [](GTask* one, gpointer, gpointer origin, GCancellable*) {
        const std::string proxy = Desktop::Get().Lookup(static_cast<const char*>(origin));
        g_task_return_pointer(one, g_strsplit(proxy.c_str(), " ", -1), nullptr);
    });
    g_object_unref(task);
}

// Makes GIO ask the Desktop above.
void Register() {
    const GInterfaceInfo resolver{
        [](gpointer table, gpointer) {
            auto* functions = static_cast<GProxyResolverInterface*>(table);
            functions->is_supported = [](GProxyResolver*) -> gboolean { return TRUE; };
            functions->lookup_async = LookupAsync;
            functions->lookup_finish = [](GProxyResolver*, GAsyncResult* result, GError** error) {
                return static_cast<gchar**>(g_task_propagate_pointer(G_TASK(result), error));
            };
        },
        nullptr, nullptr};
    const GType type =
        g_type_register_static_simple(G_TYPE_OBJECT, "CommandedProxyResolver", sizeof(GObjectClass), nullptr,
                                      sizeof(GObject), nullptr, G_TYPE_FLAG_NONE);
    g_type_add_interface_static(type, G_TYPE_PROXY_RESOLVER, &resolver);
    g_io_extension_point_register(G_PROXY_RESOLVER_EXTENSION_POINT_NAME);
    g_setenv("GIO_USE_PROXY_RESOLVER", "commanded", TRUE);
    g_io_extension_point_implement(G_PROXY_RESOLVER_EXTENSION_POINT_NAME, type, "commanded", 1000);
}

struct DesktopProxyTest : testing::Test {
    static void SetUpTestSuite() {
        Register();
        // Neither is about these servers.
        g_setenv("no_proxy", "elsewhere.example", TRUE);
        g_setenv("HTTPS_PROXY", "http://127.0.0.1:1", TRUE);
        platform::reader::Timing().connect = std::chrono::seconds(4);
    }

    ScratchFolder assets;
    ReaderHost host{assets.Path()};
    std::promise<std::string> answer;
    MisbehavingServer proxy{
        {Ask("GET http://slow.invalid/x "), Send(Head("Content-Length: 1000\r\n") + Body())}};
    const std::string address = "http://127.0.0.1:" + std::to_string(proxy.Port());
};

TEST_F(DesktopProxyTest, IsWaitedForByNobodyElseAndRemembered) {
    Desktop::Get().Answer("http://slow.invalid:80/", answer.get_future().share());
    MisbehavingServer direct({Ask("GET /one "), Send(Head("Content-Length: 3\r\n") + "one"), Ask("GET /two "),
                              Send(Head("Content-Length: 3\r\n") + "two")});
    const std::string server = "http://127.0.0.1:" + std::to_string(direct.Port());
    host.Start("http://slow.invalid/x", "slow");
    EXPECT_EQ(Read(host.Read(server + "/one").path), "one");
    EXPECT_EQ(Read(host.Read(server + "/two").path), "two");
    EXPECT_EQ(Desktop::Get().Asked(server + "/"), 1);
    EXPECT_FALSE(host.Of("slow").completed);
    answer.set_value(address);
    ASSERT_TRUE(host.RunUntil([&] { return host.Of("slow").completed; }));
    EXPECT_EQ(Read(host.Of("slow").path), Body());
    EXPECT_EQ(direct.Complaint() + proxy.Complaint(), "");
}

TEST_F(DesktopProxyTest, LeadsToFileServersByTheFirstThatCanBeUsed) {
    MisbehavingServer web({Ask("GET ftp://files.invalid/x "), Send(Head("Content-Length: 5\r\n") + "hello")});
    answer.set_value("odd://127.0.0.1:1 ftp://127.0.0.1:" + std::to_string(web.Port()));
    Desktop::Get().Answer("ftp://files.invalid:21/", answer.get_future().share());
    EXPECT_EQ(Read(host.Read("ftp://files.invalid/x").path), "hello");
}

TEST_F(DesktopProxyTest, TakesNoPlaceWhileItIsAsked) {
    const std::shared_future<std::string> never = answer.get_future().share();
    for (int i = 0; i < 70; ++i) {
        const std::string origin = "http://waits" + std::to_string(i) + ".invalid";
        Desktop::Get().Answer(origin + ":80/", never);
        host.Start(origin + "/x", std::to_string(i));
    }
    Write(assets / "file", "hello");
    EXPECT_EQ(Read(host.Read("file://" + (assets / "file")).path), "hello");
    for (int i = 0; i < 70; ++i) EXPECT_TRUE(host.Of(std::to_string(i)).codes.empty());
    host.Reader().CancelAsyncRead(u"0");
    answer.set_value("http://127.0.0.1:1");
    host.Of("0").completed = true;
    EXPECT_TRUE(host.RunUntil([&] { return host.AllCompleted(); }));
}

TEST_F(DesktopProxyTest, IsGivenUpInTheEnd) {
    Desktop::Get().Answer("http://never.invalid:80/", answer.get_future().share());
    host.Start("http://never.invalid/x", "cancelled");
    host.Reader().CancelAsyncRead(u"cancelled");
    EXPECT_EQ(host.Read("http://never.invalid/x").failure, platform::kErrResourceNotFound);
    answer.set_value(address);
}

}  // namespace
}  // namespace tsasync::tests
