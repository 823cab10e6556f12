#include "platform/linux/curl/transfer_thread.h"

#include "platform/linux/curl/read_error.h"
#include "platform/linux/curl/timing.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <utility>

namespace tsasync::platform::reader {

namespace {

// An owner that does not run its loop must not use up the descriptors of the process.
constexpr std::size_t kMostHeld = 128;

CURLM* NewMulti() {
    CURLM* multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, static_cast<long>(Timing().connections));
    return multi;
}

// Ends the thread before the libraries that it uses shut down; who still asks it for something finds it
// stopped. A child that the process forked off has no such thread, and what is read here is not the child's
// to clear away.
struct StopAtExit {
    TransferThread& thread;
    const pid_t process = getpid();
    ~StopAtExit() {
        if (getpid() == process) thread.Stop();
    }
};

}  // namespace

TransferThread& TransferThread::OfThisProcess() {
    static TransferThread& thread = *new TransferThread;
    static const StopAtExit stop{thread};
    return thread;
}

TransferThread::TransferThread() : m_multi(nullptr), m_gate(Timing()) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    m_multi = NewMulti();
}

void TransferThread::Stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
        if (!m_thread.joinable()) return;
        curl_multi_wakeup(
            m_multi);  // the thread can't see the end, and give this up, before the lock is free
    }
    m_thread.join();
}

std::uint64_t TransferThread::NewId() {
    const std::lock_guard lock(m_mutex);
    return ++m_lastId;
}

void TransferThread::Start(std::shared_ptr<Read> read) {
    const std::uint64_t id = read->id;
    Send({Command::Kind::Start, id, std::move(read)}, true);
}

void TransferThread::Cancel(std::uint64_t id) { Send({Command::Kind::Cancel, id, nullptr}, true); }

// Unless others may wait for what is held there is no hurry: whatever wakes the thread next will do.
void TransferThread::Delivered(std::uint64_t id, bool isHeld) {
    Send({Command::Kind::Delivered, id, nullptr}, isHeld);
}

void TransferThread::Send(Command command, bool wake) {
    const std::lock_guard lock(m_mutex);
    if (m_stop) return;
    if (!m_thread.joinable()) {
        if (command.kind != Command::Kind::Start) return;  // there is nothing yet that could end
        m_thread = std::thread([this] { Run(); });         // throws where the system has none to give
    }
    m_commands.push_back(std::move(command));
    if (wake && !std::exchange(m_woken, true)) curl_multi_wakeup(m_multi);
}

void TransferThread::Run() {
    while (TakeCommands()) {
        LetIn();
        int running = 0;
        curl_multi_perform(m_multi, &running);
        TakeResults();
        StepLocalWork();
        const int wait = CheckTimes();
        m_outbox.Send();
        if (m_proxies.Poll(m_multi, wait)) {
            for (const auto& [id, host] : std::exchange(m_asking, {})) m_gate.Enter(id, host);
        }
    }
    while (!m_requests.empty()) TakeBack(**m_requests.begin());
    m_transfers.clear();
    m_fileReads.clear();
    m_waiting.clear();
    for (auto& [id, finished] : m_finished) finished.Dropped();
    m_finished.clear();
    m_folders.Clear();
    m_handles = {};
    curl_multi_cleanup(m_multi);
    m_multi = nullptr;
}

bool TransferThread::TakeCommands() {
    std::vector<Command> commands;
    bool stop = false;
    {
        const std::lock_guard lock(m_mutex);
        commands.swap(m_commands);
        m_woken = false;
        stop = m_stop;
    }
    for (Command& command : commands) {
        // A start that nobody will see the end of is not begun.
        if (!stop || command.kind != Command::Kind::Start) Do(command);
    }
    return !stop;
}

void TransferThread::Do(Command& command) {
    switch (command.kind) {
        case Command::Kind::Start:
            Begin(std::move(command.read));
            break;
        case Command::Kind::Cancel:
            Drop(command.id);
            break;
        case Command::Kind::Delivered:
            if (auto finished = TakeFinished(command.id)) finished->Delivered();
            break;
    }
}

void TransferThread::Begin(std::shared_ptr<Read> read) {
    auto source = ParseSourceUrl(read->url);
    if (auto* failure = std::get_if<ReadFailure>(&source)) {
        Report(std::move(read), m_outbox).Fail(std::move(*failure));
        return;
    }
    const std::uint64_t id = read->id;
    m_gate.Enter(id, std::get<SourceUrl>(source).host);
    m_waiting.emplace(id, std::move(read));
}

void TransferThread::Drop(std::uint64_t id) {
    const bool asked = m_asking.erase(id) != 0;
    const bool paused = std::erase_if(m_pauses, [&](const auto& one) { return one.second == id; }) != 0;
    const bool waited = m_gate.Leave(id) || asked || paused;
    m_waiting.erase(id);
    if (auto finished = TakeFinished(id)) finished->Dropped();
    if (const auto found = m_transfers.find(id); found != m_transfers.end()) {
        Transfer& transfer = *found->second;
        if (m_requests.contains(&transfer)) TakeBack(transfer);
        if (waited) {
            m_transfers.erase(id);  // it holds no place
        } else {
            End(id, std::string(transfer.Source().host), std::nullopt);
        }
    }
    if (m_fileReads.contains(id)) End(id, {}, std::nullopt);
}

// Lets as many reads start as there are places.
void TransferThread::LetIn() {
    while (const auto id = m_gate.Next(Clock::now())) {
        if (const auto found = m_transfers.find(*id); found != m_transfers.end()) {
            Request(*found->second);
        } else {
            auto source = std::get<SourceUrl>(ParseSourceUrl(m_waiting.at(*id)->url));
            if (source.scheme == "file" || m_proxies.Find(source) != nullptr) {
                Open(std::move(m_waiting.extract(*id).mapped()), std::move(source));
            } else {
                StepAside(*id, source.host);
            }
        }
    }
}

void TransferThread::Open(std::shared_ptr<Read> read, SourceUrl source) {
    const std::uint64_t id = read->id;
    auto found = m_folders.For(read->folder);
    if (const auto* refusal = std::get_if<PrivateFolders::Refusal>(&found)) {
        m_gate.Release(source.host);
        Report(std::move(read), m_outbox).Fail(FileFailure(refusal->error, refusal->path));
        return;
    }
    auto& folder = std::get<std::shared_ptr<PrivateFolder>>(found);
    if (source.scheme == "file") {
        m_fileReads.emplace(
            id, std::make_unique<FileRead>(std::move(read), std::move(source), std::move(folder), m_outbox));
    } else {
        auto transfer = std::make_unique<Transfer>(std::move(read), std::move(source), std::move(folder),
                                                   m_connections, m_outbox);
        Request(*m_transfers.emplace(id, std::move(transfer)).first->second);
    }
}

void TransferThread::Request(Transfer& transfer) {
    if (const ProxyChoice* proxy = m_proxies.Find(transfer.Source())) {
        m_requests.insert(&transfer);
        curl_multi_add_handle(m_multi, transfer.Attach(m_handles.Take(), *proxy));
    } else {
        StepAside(transfer.Id(), transfer.Source().host);
    }
}

// The way to `host` is not known yet: the read gives its place back until it is.
void TransferThread::StepAside(std::uint64_t id, const std::string& host) {
    m_gate.Release(host);
    m_asking.emplace(id, host);
}

void TransferThread::TakeBack(Transfer& transfer) {
    m_requests.erase(&transfer);
    curl_multi_remove_handle(m_multi, transfer.Handle());
    m_handles.GiveBack(transfer.Detach());
    m_closeAt = Clock::now() + Timing().keptOpen;
}

// libcurl closes what is idle only when it needs the room, or to the last. Commands come to the new one.
void TransferThread::CloseConnections() {
    CURLM* old = NewMulti();
    {
        const std::lock_guard lock(m_mutex);
        std::swap(m_multi, old);
    }
    curl_multi_cleanup(old);
    m_closeAt = Clock::time_point::max();
}

void TransferThread::TakeResults() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        CURL* const easy = message->easy_handle;
        const CURLcode code = message->data.result;
        Transfer* transfer = nullptr;
        curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
        Judge(*transfer, code);
    }
    LetIn();
}

void TransferThread::Judge(Transfer& transfer, CURLcode code) {
    const std::string host = transfer.Source().host;
    const Verdict verdict = transfer.Ended(code, m_gate.IsShared(host));
    TakeBack(transfer);
    Act(transfer, host, verdict);
}

// The transfer holds a place at `host`.
void TransferThread::Act(Transfer& transfer, const std::string& host, const Verdict& verdict) {
    const std::uint64_t id = transfer.Id();
    switch (verdict.next) {
        case Verdict::Next::Check:
            m_checks.insert(id);
            break;
        case Verdict::Next::Finished:
            End(id, host, transfer.Finish(m_held < kMostHeld));
            break;
        case Verdict::Next::Failed:
            End(id, host, std::nullopt);
            break;
        case Verdict::Next::Again:
            Request(transfer);
            break;
        case Verdict::Next::TurnedAway: {
            const auto now = Clock::now();
            m_gate.TurnedAway(host, transfer.AskedAt(), now);
            m_gate.Release(host);
            m_pauses.emplace(now + verdict.pause, id);
            break;
        }
        case Verdict::Next::Elsewhere:
            m_gate.Release(host);
            m_gate.Enter(id, transfer.Source().host);
            break;
    }
}

// The read `id`, which holds a place at `host` (that of files of this machine is empty), is over.
void TransferThread::End(std::uint64_t id, const std::string& host, std::optional<FinishedFile> finished) {
    m_gate.Release(host);
    m_transfers.erase(id);
    m_fileReads.erase(id);
    m_checks.erase(id);
    if (!finished) return;
    if (finished->metadata) ++m_held;
    m_finished.emplace(id, std::move(*finished));
}

std::optional<FinishedFile> TransferThread::TakeFinished(std::uint64_t id) {
    auto finished = m_finished.extract(id);
    if (!finished) return std::nullopt;
    if (finished.mapped().metadata) --m_held;
    return std::move(finished.mapped());
}

void TransferThread::StepLocalWork() {
    for (auto next = m_checks.begin(); next != m_checks.end();) {
        Transfer& transfer = *m_transfers.at(*next++);
        if (const auto verdict = transfer.CheckStep())
            Act(transfer, std::string(transfer.Source().host), *verdict);
    }
    for (auto next = m_fileReads.begin(); next != m_fileReads.end();) {
        const auto current = next++;
        if (!current->second->Step()) {
            End(current->first, {}, std::move(current->second->Finished()));
        }
    }
    LetIn();  // to the places of what has ended
}

// Does what is due now. Returns the milliseconds until something is due next.
int TransferThread::CheckTimes() {
    const auto now = Clock::now();
    while (!m_pauses.empty() && m_pauses.begin()->first <= now) {
        const auto pause = m_pauses.extract(m_pauses.begin());
        m_gate.Return(pause.mapped(), m_transfers.at(pause.mapped())->Source().host);
    }
    if (m_requests.empty() && m_closeAt <= now) {
        CloseConnections();
        return 0;
    }
    auto next = m_pauses.empty() ? Clock::time_point::max() : m_pauses.begin()->first;
    std::vector<Transfer*> over;
    for (Transfer* transfer : m_requests) {
        next = std::min(next, transfer->Tick(now));
        if (transfer->OverAt() <= now) over.push_back(transfer);
    }
    for (Transfer* transfer : over) Judge(*transfer, CURLE_OPERATION_TIMEDOUT);
    LetIn();
    if (m_requests.empty()) next = std::min(next, m_closeAt);
    if (HasLocalWork()) return 0;
    if (next == Clock::time_point::max()) return INT_MAX;
    return static_cast<int>(
        std::chrono::ceil<std::chrono::milliseconds>(std::max(next - now, Clock::duration(0))).count());
}

}  // namespace tsasync::platform::reader
