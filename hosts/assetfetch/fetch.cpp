#include "fetch.h"

#include "text.h"

#include <glib-unix.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <limits>

namespace assetfetch {

using tsasync::host::Bstr;
using tsasync::host::Check;
using tsasync::host::Utf16;
using tsasync::host::Utf8;

namespace {

constexpr int kAttemptLimit = 10;
constexpr std::int64_t kMostCounted = std::numeric_limits<std::int32_t>::max();  // in a record
constexpr std::uintmax_t kRoomForNothing = 64 * 1024;  // bytes below which a volume counts as full

std::string TextOf(_CDLItem& item, HRESULT (_CDLItem::*get)(BSTR*)) {
    Bstr text;
    Check((item.*get)(text.Put()));
    return Utf8(text.Text());
}

template <typename T>
T ValueOf(_CDLItem& item, HRESULT (_CDLItem::*get)(T*)) {
    T value{};
    Check((item.*get)(&value));
    return value;
}

std::int64_t SizeOfFile(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? kMostCounted : static_cast<std::int64_t>(size);
}

// The record tells how far a transfer came, not what ended it. For a local file this host can look for
// itself.
std::string LocalFault(const std::string& url) {
    char* name = g_filename_from_uri(url.c_str(), nullptr, nullptr);
    if (name == nullptr) return {};
    std::error_code error;
    const auto status = std::filesystem::status(name, error);
    g_free(name);
    if (error || !std::filesystem::exists(status)) return std::generic_category().message(ENOENT);
    if (std::filesystem::is_directory(status)) return std::generic_category().message(EISDIR);
    return {};
}

std::string FullFault(const std::string& folder, std::uintmax_t needed) {
    std::error_code error;
    const auto space = std::filesystem::space(folder, error);
    return !error && space.available < needed ? std::generic_category().message(ENOSPC) : "";
}

// What keeps a file of `size` bytes out of `folder`, as far as it can be seen from here.
std::string FolderFault(const std::string& folder, std::uintmax_t size) {
    std::error_code error;
    const auto status = std::filesystem::status(folder, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_directory(status))
        return std::generic_category().message(ENOTDIR);
    if (access(folder.c_str(), W_OK | X_OK) != 0) return std::generic_category().message(errno);
    return FullFault(folder, std::max(size, kRoomForNothing));
}

// What keeps data from being kept while it arrives: that lies on the volume of the assets folder or in the
// user's cache.
std::string StoreFault(const std::string& assets) {
    std::string fault = FullFault(assets, kRoomForNothing);
    if (!fault.empty()) return Printable(assets) + ": " + fault;
    std::filesystem::path cache(g_get_user_cache_dir());
    while (cache.has_relative_path() && access(cache.c_str(), F_OK) != 0 && errno == ENOENT)
        cache = cache.parent_path();
    fault = FolderFault(cache, 0);
    return fault.empty() ? "" : Printable(cache.native()) + ": " + fault;
}

std::string TransferFault(const Job& job, const std::string& assets) {
    if (std::string local = LocalFault(job.url); !local.empty()) return local;
    std::string fault = "nothing arrived";
    if (job.size != 0) fault = "broke off after " + SizeText(job.size);
    if (job.size != 0 && job.total > job.size) fault += " of " + SizeText(job.total);
    if (const std::string store = StoreFault(assets); !store.empty()) return fault + "; " + store;
    return job.size != 0 ? fault : fault + ": the server can't be reached, refuses or has no such file";
}

std::string FaultOf(const Job& job, const std::string& assets) {
    if (!job.arrived) return TransferFault(job, assets);
    const std::string why =
        FolderFault(assets, static_cast<std::uintmax_t>(std::max(job.size, std::int64_t{0})));
    return "arrived, but can't be placed in " + Printable(assets) + (why.empty() ? "" : ": " + why);
}

}  // namespace

Fetch::Fetch(const Options& options)
    : m_options(options),
      m_view(MakeView(options, m_totals)),
      m_manager(tsasync::host::CreateManager(&DllGetClassObject)),
      m_events(m_manager, {[this](_CDLItem& item) { OnStateChanged(item); }, nullptr}),
      m_loop(g_main_loop_new(nullptr, FALSE)) {
    if (options.language) Check(m_manager->put_LangID(*options.language));
    Bstr folder;
    Check(m_manager->get_AssetsPath(folder.Put()));
    m_assets = PrepareFolder(options.assets.empty() ? Utf8(folder.Text()) : options.assets);
    Check(m_manager->put_AssetsPath(Bstr(Utf16(m_assets))));
    Check(m_manager->put_AutoStart(VARIANT_TRUE));
    m_sources = {g_timeout_add(100, OnTick, this), g_timeout_add_seconds(1, OnElection, this),
                 g_unix_signal_add(SIGINT, OnSignal<SIGINT>, this),
                 g_unix_signal_add(SIGTERM, OnSignal<SIGTERM>, this),
                 g_unix_signal_add(SIGHUP, OnSignal<SIGHUP>, this)};
}

Fetch::~Fetch() {
    for (const guint source : m_sources) g_source_remove(source);
    g_main_loop_unref(m_loop);
}

int Fetch::Run() {
    m_totals.jobs = m_options.urls.size();
    for (const std::string& url : m_options.urls) {
        if (m_signal != 0) break;
        Add(url);
    }
    if (m_signal == 0 && m_totals.Open() != 0) g_main_loop_run(m_loop);
    return End();
}

void Fetch::Add(const std::string& url) {
    std::string fault = UrlFault(url);
    Bstr handle;
    const Bstr address(Utf16(url));
    if (fault.empty()) Check(m_manager->GetHDL(address, handle.Put()));
    if (fault.empty() && m_byHandle.contains(Utf8(handle.Text()))) {
        --m_totals.jobs;  // the same file once more
        return;
    }
    Job& job = m_jobs.emplace_back();
    job.index = m_jobs.size();
    job.url = url;
    job.name = DisplayName(url);
    if (!fault.empty()) {
        m_view->Message((url.empty() ? "" : Printable(url) + ": ") + fault);
        job.state = tsdBroken;
        Close(job, Outcome::kFailed, std::move(fault));
        return m_view->Changed(job);
    }
    job.handle = Utf8(handle.Text());
    m_byHandle.emplace(job.handle, &job);
    Check(m_manager->AddURL(address, Bstr(Utf16(job.name)), m_options.force ? VARIANT_TRUE : VARIANT_FALSE,
                            handle.Put()));
    if (m_options.force && SysStringLen(handle) == 0 && job.outcome == Outcome::kOpen) {
        Close(job, Outcome::kFailed, job.reason.empty() ? "cancelled" : job.reason);
        m_view->Changed(job);
    }
}

void Fetch::OnStateChanged(_CDLItem& item) {
    const auto found = m_byHandle.find(TextOf(item, &_CDLItem::get_Handle));
    if (found == m_byHandle.end() || found->second->outcome != Outcome::kOpen || m_signal != 0) return;
    Job& job = *found->second;
    Update(job, item);
    Judge(job, item);
    m_view->Changed(job);
    if (m_totals.Open() == 0) g_main_loop_quit(m_loop);
}

void Fetch::Update(Job& job, _CDLItem& item) {
    if (!job.item) job.item = tsasync::host::ComPtr<_CDLItem>(&item);
    m_totals.received -= job.size;
    m_totals.expected -= std::max(job.size, job.total);
    job.state = ValueOf(item, &_CDLItem::get_State);
    job.attempts = ValueOf(item, &_CDLItem::get_Attempts);
    job.size = ValueOf(item, &_CDLItem::get_Size);
    job.total = ValueOf(item, &_CDLItem::get_TotalSize);
    job.mime = TextOf(item, &_CDLItem::get_MIMEType);
    job.arrived = !TextOf(item, &_CDLItem::get_TmpPath).empty();
    if (job.state == tsdFinished) {
        job.path = TextOf(item, &_CDLItem::get_FinalPath);
        if (job.size == kMostCounted) job.size = job.total = SizeOfFile(job.path);
    }
    m_totals.received += job.size;
    m_totals.expected += std::max(job.size, job.total);
}

// What the change means. A pending job that has been started has failed; so has one that is started once
// more, as a forced one is at once.
void Fetch::Judge(Job& job, _CDLItem& item) {
    const int ended =
        job.state == tsdStarting || job.state == tsdDownloading ? job.attempts - 1 : job.attempts;
    if (job.state == tsdFinished) {
        Close(job, Outcome::kFinished);
    } else if (job.state != tsdStopped && ended > job.failures) {
        job.failures = ended;
        OnFailedAttempt(job, item);
    }
}

void Fetch::OnFailedAttempt(Job& job, _CDLItem& item) {
    job.reason = FaultOf(job, m_assets);
    Check(item.put_TmpPath(Bstr()));  // so that the next attempt's failure is not taken for this one's
    std::string line = Printable(job.url) + ": " + job.reason;
    const bool given_up = m_options.noRetry || job.state == tsdBroken;
    if (!given_up || job.failures > 1) {
        line += " (attempt " + std::to_string(job.failures) + " of " + std::to_string(kAttemptLimit);
        if (!given_up && job.state == tsdPending)
            line += ", the next one at " + TimeOfDayText(ValueOf(item, &_CDLItem::get_Start));
        line += ")";
    }
    m_view->Message(line);
    if (!given_up) return;
    // A record that is written by its host is left alone by the next election.
    if (job.state == tsdPending) Check(item.put_State(tsdBroken));
    if (job.state == tsdStarting || job.state == tsdDownloading)
        Check(m_manager->RemoveURL(Bstr(Utf16(job.handle))));
    job.state = tsdBroken;
    Close(job, Outcome::kFailed, job.reason);
}

void Fetch::Close(Job& job, Outcome outcome, std::string reason) {
    job.outcome = outcome;
    job.reason = std::move(reason);
    if (outcome == Outcome::kFinished)
        ++m_totals.finished;
    else
        ++m_totals.failed;
}

int Fetch::End() {
    for (Job& job : m_jobs) {
        if (job.outcome != Outcome::kOpen) continue;
        job.state = tsdStopped;
        m_view->Changed(job);
    }
    m_view->End(m_jobs);
    if (std::fflush(stdout) != 0) {
        PrintMessage("can't write to standard output: " + std::generic_category().message(errno));
        return 1;
    }
    if (m_signal != 0) return 128 + m_signal;
    return m_totals.failed == 0 ? 0 : 1;
}

gboolean Fetch::OnTick(gpointer self) {
    static_cast<Fetch*>(self)->m_view->Tick();
    return G_SOURCE_CONTINUE;
}

gboolean Fetch::OnElection(gpointer self) {
    Bstr started;
    const auto& manager = static_cast<Fetch*>(self)->m_manager;
    if (manager && FAILED(manager->Elect(started.Put())))
        PrintMessage("a job could not be started; trying again");
    return G_SOURCE_CONTINUE;
}

template <int signal>
gboolean Fetch::OnSignal(gpointer self) {
    static_cast<Fetch*>(self)->Stop(signal);
    return G_SOURCE_CONTINUE;
}

void Fetch::Stop(int signal) {
    if (m_signal != 0) return;
    m_signal = signal;
    // With its manager every job ends, and so does the wait for a forced one.
    m_events = {};
    m_manager.Reset();
    g_main_loop_quit(m_loop);
}

}  // namespace assetfetch
