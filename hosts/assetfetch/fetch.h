#pragma once

#include "job.h"
#include "options.h"
#include "tsasync/host.hpp"
#include "view.h"

#include <glib.h>

#include <deque>
#include <string>
#include <unordered_map>

namespace assetfetch {

// Fetches URLs through one download manager and tells a view of it. Runs on the thread's default main
// context.
class Fetch {
  public:
    // `assets` is an absolute path; empty leaves the folder to the component. Throws tsasync::host::Error,
    // and UsageError for an unusable folder.
    explicit Fetch(const Options& options);
    ~Fetch();
    Fetch(const Fetch&) = delete;
    Fetch& operator=(const Fetch&) = delete;

    // Returns when every job has ended, or after SIGINT, SIGTERM or SIGHUP, which end every job first. The
    // result is the exit status.
    int Run();

  private:
    void Add(const std::string& url);
    void OnStateChanged(_CDLItem& item);
    void Update(Job& job, _CDLItem& item);
    void Judge(Job& job, _CDLItem& item);
    void OnFailedAttempt(Job& job, _CDLItem& item);
    void Close(Job& job, Outcome outcome, std::string reason = {});
    int End();

    // Sources of the main context. Each stays until the end.
    static gboolean OnTick(gpointer self);
    static gboolean OnElection(gpointer self);
    template <int signal>
    static gboolean OnSignal(gpointer self);
    void Stop(int signal);

    const Options& m_options;
    std::string m_assets;
    Totals m_totals;
    std::unique_ptr<View> m_view;
    std::deque<Job> m_jobs;  // a deque: the view and the map below point at its elements
    std::unordered_map<std::string, Job*> m_byHandle;
    tsasync::host::ComPtr<_CDLManager> m_manager;
    tsasync::host::Connection m_events;
    GMainLoop* m_loop;
    std::vector<guint> m_sources;
    int m_signal = 0;  // that ended the run
};

}  // namespace assetfetch
