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

bool HasPlace(auto state) {
    using State = decltype(state);
    return state == State::Requesting || state == State::Checking || state == State::Copying;
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
        if (m_proxies.Poll(m_multi, wait)) AskAgain();
    }
    for (auto& [id, job] : m_jobs) {
        if (job.state == State::Requesting) TakeBack(*job.transfer);
        job.transfer.reset();
        job.copy.reset();
    }
    for (auto& [id, job] : m_jobs) {
        if (job.finished) job.finished->Dropped();
    }
    m_jobs.clear();
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
    const auto job = m_jobs.emplace(read->id, Job{}).first;
    job->second.host = std::get<SourceUrl>(source).host;
    job->second.read = std::move(read);
    m_gate.Enter(job->first, job->second.host);
}

// A place that the new state has no use for goes to the next.
void TransferThread::Become(Jobs::value_type& one, State state) {
    auto& [id, job] = one;
    if (HasPlace(job.state) && !HasPlace(state)) m_gate.Release(job.host);
    if (job.state == State::Requesting) --m_requests;
    if (state == State::Requesting) ++m_requests;
    job.state = state;
    if (HasPlace(state) || state == State::Paused) {
        m_busy.insert(id);
    } else {
        m_busy.erase(id);
    }
}

void TransferThread::Drop(std::uint64_t id) {
    const auto found = m_jobs.find(id);
    if (found == m_jobs.end()) return;
    const State state = found->second.state;
    if (state == State::Waiting) m_gate.Leave(id);
    if (state == State::Requesting) TakeBack(*found->second.transfer);
    if (auto finished = TakeFinished(id)) {
        finished->Dropped();
    } else {
        End(id, std::nullopt);
    }
}

// Lets as many reads start as there are places.
void TransferThread::LetIn() {
    while (const auto id = m_gate.Next(Clock::now())) {
        auto& one = *m_jobs.find(*id);
        Become(one, State::Requesting);
        if (one.second.transfer) {
            Request(one);
            continue;
        }
        auto source = std::get<SourceUrl>(ParseSourceUrl(one.second.read->url));
        if (source.scheme == "file" || m_proxies.Find(source) != nullptr) {
            Open(one, std::move(source));
        } else {
            Become(one, State::Asking);
        }
    }
}

// Something is known of the ways that reads ask for.
void TransferThread::AskAgain() {
    for (auto& one : m_jobs) {
        if (one.second.state != State::Asking) continue;
        Become(one, State::Waiting);
        m_gate.Enter(one.first, one.second.host);
    }
}

void TransferThread::Open(Jobs::value_type& one, SourceUrl source) {
    auto& [id, job] = one;
    auto found = m_folders.For(job.read->folder);
    if (const auto* refusal = std::get_if<PrivateFolders::Refusal>(&found)) {
        Report(job.read, m_outbox).Fail(FileFailure(refusal->error, refusal->path));
        return End(id, std::nullopt);
    }
    auto& folder = std::get<std::shared_ptr<PrivateFolder>>(found);
    if (source.scheme == "file") {
        job.copy = std::make_unique<FileRead>(job.read, std::move(source), std::move(folder), m_outbox);
        Become(one, State::Copying);
    } else {
        job.transfer = std::make_unique<Transfer>(job.read, std::move(source), std::move(folder),
                                                  m_connections, m_outbox);
        Request(one);
    }
}

// The read has a place, and gives it back while the way to its host is not known.
void TransferThread::Request(Jobs::value_type& one) {
    Transfer& transfer = *one.second.transfer;
    const ProxyChoice* proxy = m_proxies.Find(transfer.Source());
    if (proxy == nullptr) return Become(one, State::Asking);
    curl_multi_add_handle(m_multi, transfer.Attach(m_handles.Take(), *proxy));
}

void TransferThread::TakeBack(Transfer& transfer) {
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
        Judge(*m_jobs.find(transfer->Id()), code);
    }
    LetIn();
}

void TransferThread::Judge(Jobs::value_type& one, CURLcode code) {
    Transfer& transfer = *one.second.transfer;
    const Verdict verdict = transfer.Ended(code, m_gate.IsShared(one.second.host));
    TakeBack(transfer);
    Act(one, verdict);
}

// The read has a place.
void TransferThread::Act(Jobs::value_type& one, const Verdict& verdict) {
    auto& [id, job] = one;
    switch (verdict.next) {
        case Verdict::Next::Check:
            Become(one, State::Checking);
            break;
        case Verdict::Next::Finished:
            End(id, job.transfer->Finish(m_held < kMostHeld));
            break;
        case Verdict::Next::Failed:
            End(id, std::nullopt);
            break;
        case Verdict::Next::Again:
            Request(one);
            break;
        case Verdict::Next::TurnedAway:
            m_gate.TurnedAway(job.host, job.transfer->AskedAt(), Clock::now());
            job.due = Clock::now() + verdict.pause;
            Become(one, State::Paused);
            break;
        case Verdict::Next::Elsewhere:
            Become(one, State::Waiting);
            job.host = job.transfer->Source().host;
            m_gate.Enter(id, job.host);
            break;
    }
}

void TransferThread::End(std::uint64_t id, std::optional<FinishedFile> finished) {
    const auto found = m_jobs.find(id);
    Become(*found, State::Finished);
    if (!finished) {
        m_jobs.erase(found);
        return;
    }
    if (finished->metadata) ++m_held;
    Job& job = found->second;
    job.transfer.reset();
    job.copy.reset();
    job.finished = std::make_unique<FinishedFile>(std::move(*finished));
}

std::optional<FinishedFile> TransferThread::TakeFinished(std::uint64_t id) {
    const auto found = m_jobs.find(id);
    if (found == m_jobs.end() || !found->second.finished) return std::nullopt;
    std::optional<FinishedFile> finished(std::move(*found->second.finished));
    m_jobs.erase(found);
    if (finished->metadata) --m_held;
    return finished;
}

void TransferThread::StepLocalWork() {
    for (const std::uint64_t id : std::vector(m_busy.begin(), m_busy.end())) {
        auto& one = *m_jobs.find(id);
        Job& job = one.second;
        if (job.state == State::Checking) {
            if (const auto verdict = job.transfer->CheckStep()) Act(one, *verdict);
        } else if (job.state == State::Copying && !job.copy->Step()) {
            End(id, std::move(job.copy->Finished()));
        }
    }
    LetIn();  // to the places of what has ended
}

// Does what is due now. Returns the milliseconds until something is due next.
int TransferThread::CheckTimes() {
    const auto now = Clock::now();
    if (m_requests == 0 && m_closeAt <= now) {
        CloseConnections();
        return 0;
    }
    for (const std::uint64_t id : std::vector(m_busy.begin(), m_busy.end())) {
        auto& one = *m_jobs.find(id);
        Job& job = one.second;
        if (job.state == State::Requesting) {
            job.transfer->Tick(now);
            if (job.transfer->OverAt() <= now) Judge(one, CURLE_OPERATION_TIMEDOUT);
        } else if (job.state == State::Paused && job.due <= now) {
            Become(one, State::Waiting);
            m_gate.Return(id, job.host);
        }
    }
    LetIn();
    auto next = m_gate.Due();
    for (const std::uint64_t id : m_busy) {
        const Job& job = m_jobs.at(id);
        // A slice of local work is due at once.
        auto due = now;
        if (job.state == State::Paused) due = job.due;
        if (job.state == State::Requesting) due = job.transfer->Tick(now);
        next = std::min(next, due);
    }
    if (m_requests == 0) next = std::min(next, m_closeAt);
    if (next == Clock::time_point::max()) return INT_MAX;
    return static_cast<int>(
        std::chrono::ceil<std::chrono::milliseconds>(std::max(next - now, Clock::duration(0))).count());
}

}  // namespace tsasync::platform::reader
