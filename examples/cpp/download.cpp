// Downloads one URL into a folder.
//
//     example_download URL FOLDER
//
// Prints each state of the job and where the file went. Exit status 0 when it is there, 1 when it could not
// be had, 2 for wrong usage.

#include "tsasync/host.hpp"

#include <glib.h>

#include <cstdio>

namespace {

using namespace tsasync::host;

constexpr const char* kStates[] = {"stopped", "starting", "downloading", "pending", "finished", "broken"};

// The state of one job as its events tell it.
class Download {
  public:
    explicit Download(GMainLoop* loop) : m_loop(loop) {}

    void StateChanged(_CDLItem& item) {
        TSDLStateEnum state = tsdStopped;
        LONG size = 0;
        LONG total = 0;
        SHORT attempts = 0;
        Check(item.get_State(&state));
        Check(item.get_Size(&size));
        Check(item.get_TotalSize(&total));
        Check(item.get_Attempts(&attempts));
        if (state >= tsdStopped && state <= tsdBroken) std::printf("%s %d/%d\n", kStates[state], size, total);
        if (state == tsdFinished) {
            Bstr path;
            Check(item.get_FinalPath(path.Put()));
            std::printf("%s\n", Utf8(path.Text()).c_str());
            End(0);
        } else if (state == tsdBroken || (state == tsdPending && attempts > 0)) {
            // A pending job is due again in three minutes; this program doesn't wait.
            End(1);
        }
    }

    int ExitStatus() const { return m_exitStatus; }

  private:
    void End(int exitStatus) {
        m_exitStatus = exitStatus;
        g_main_loop_quit(m_loop);
    }

    GMainLoop* m_loop;
    int m_exitStatus = 1;
};

int Run(const char* url, const char* folder) {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    Download download(loop);
    {
        // The component is linked. A host that is not calls CreateManager(ProgID_CDLManager).
        const ComPtr<_CDLManager> manager = CreateManager(&DllGetClassObject);
        const Connection events(manager, {[&](_CDLItem& item) { download.StateChanged(item); }, {}});
        Check(manager->put_AssetsPath(Bstr(Utf16(folder))));
        Check(manager->put_AutoStart(VARIANT_TRUE));
        Bstr handle;
        Check(manager->AddURL(Bstr(Utf16(url)), nullptr, VARIANT_FALSE, handle.Put()));
        g_main_loop_run(loop);
    }
    g_main_loop_unref(loop);
    return download.ExitStatus();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s URL FOLDER\n", argv[0]);
        return 2;
    }
    try {
        return Run(argv[1], argv[2]);
    } catch (const Error& error) {
        std::fprintf(stderr, "%s: %s\n", argv[1], error.what());
        return 1;
    }
}
