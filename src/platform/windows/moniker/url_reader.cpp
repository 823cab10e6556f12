#include "platform/url_reader.h"

#include "base/KeyFold.h"
#include "base/LogError.h"
#include "base/Utf8.h"
#include "platform/reader/connection_gate.h"
#include "platform/reader/forced_wait.h"
#include "platform/reader/read_rules.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/own_module.h"
#include "platform/windows/base/wide.h"
#include "platform/windows/moniker/timing.h"
#include "platform/windows/moniker/url_binding.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tsasync::platform {

namespace {

using host::ComPtr;

constexpr UINT kDeliver = WM_APP;
constexpr UINT kStartNext = WM_APP + 1;
constexpr UINT kWatchInterval = 200;  // ms
constexpr UINT kBytesInterval = 100;  // ms between two notices of byte progress
// Timers of the window; the ids of reads are those of the timers for beginning them again.
constexpr UINT_PTR kWatchTimer = 1;
constexpr UINT_PTR kBytesTimer = 2;
constexpr wchar_t kWindowClass[] = L"QMASYN10.UrlReader";

// What the gate knows the URL's host by, whatever the scheme, the port and the letter case. Files of this
// machine count as one host, and so does what has none.
std::string HostOf(const std::u16string& url) {
    ComPtr<IUri> uri;
    TextHandle host;
    if (SUCCEEDED(CreateUri(Wide(url), Uri_CREATE_ALLOW_RELATIVE, 0, uri.Put()))) uri->GetHost(host.Put());
    const std::u16string folded = FoldKey(FromWide(host.Get()));
    return {reinterpret_cast<const char*>(folded.data()), folded.size() * sizeof(char16_t)};
}

bool IsByteProgress(const BindingNotice& notice) {
    return !notice.result && notice.code == kStatusDownloading;
}

}  // namespace

// Monikers call back from inside calls to them, too; what they tell is queued and delivered from the message
// loop, through a window that only takes messages.
//
// A notice of one kind (progress, completion) is not delivered inside a handler of the same kind, as far as
// forced_wait.h has no other level for it; it waits, and what may be delivered meanwhile is. The notices of
// one read keep their order.
class UrlReader::Impl {
  public:
    explicit Impl(IReadEvents& events);
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void PlaceNear(std::u16string_view folder) { m_goal = ToUtf8(folder); }
    std::int32_t Start(std::u16string_view target, std::u16string_view name);
    std::int32_t Cancel(std::u16string_view name);

  private:
    struct Read {
        std::u16string name;
        std::u16string url;
        std::string goal;  // where its file is wanted
        std::string host;  // for the gate
        std::uint64_t id = 0;
        ComPtr<UrlBinding> binding;  // null while the read waits for its first place
        bool hasPlace = false;
        std::optional<BindingNotice> bytes;  // the newest byte progress that is not told yet
        bool bytesQueued = false;            // whether its turn to be told is in the queue
        std::uint64_t bytesTold = 0;         // when the one before was told, in ticks of the system
    };
    struct Entry {
        std::uint64_t read = 0;
        BindingNotice notice;  // of byte progress no more than the code
    };

    static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void Post(UINT message) { PostMessageW(m_window.Get(), message, 0, 0); }
    void StartNext();
    void Queue(std::uint64_t id, BindingNotice notice);
    void QueueBytes(Read& read, bool atOnce);
    void DeliverOne();
    void Deliver(Entry entry);
    void CallHandler(bool completion, const AsyncProperty& property);
    ComPtr<UrlBinding> TakeBinding(Read& read);
    void LeavePlace(Read& read);
    void BeginAgain(Read& read, const BindingNotice::Again& again);
    void Abort(Read& read);
    void OnTimer(UINT_PTR timer);
    void EndOver();

    IReadEvents& m_events;
    WindowHandle m_window;
    std::string m_goal;  // where the files of reads from now on are wanted
    reader::PrivateFolders m_folders;
    std::unordered_map<std::uint64_t, Read> m_reads;
    std::unordered_map<std::u16string, std::uint64_t> m_ids;  // of reads, by folded name
    // The system opens few connections to a server, and what waits inside it can't be told from what is
    // silent.
    ConnectionGate m_gate{Timing()};
    std::deque<Entry> m_queue;
    std::size_t m_bindings = 0;
    std::uint64_t m_lastId = kBytesTimer;
    std::array<HandlerState, 2> m_handlers;  // of progress, of completion
    bool* m_ended = nullptr;                 // set by the destructor for a delivery on the stack
};

UrlReader::Impl::Impl(IReadEvents& events) : m_events(events) {
    WNDCLASSW type{};
    type.lpfnWndProc = &OnMessage;
    type.hInstance = OwnModule();
    type.lpszClassName = kWindowClass;
    RegisterClassW(&type);  // fails for the second reader, whose class is there
    m_window = WindowHandle(CreateWindowExW(0, kWindowClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                            OwnModule(), nullptr));
    if (!m_window) Raise(HRESULT_FROM_WIN32(GetLastError()), {}, u"No window for the reader's messages");
    SetWindowLongPtrW(m_window.Get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

UrlReader::Impl::~Impl() {
    if (m_ended != nullptr) *m_ended = true;
    SetWindowLongPtrW(m_window.Get(), GWLP_USERDATA, 0);  // no message arrives from inside the aborts
    for (auto& [id, read] : m_reads) Abort(read);
}

LRESULT CALLBACK UrlReader::Impl::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* const self = reinterpret_cast<Impl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    const bool isOwn = message == kStartNext || message == kDeliver || message == WM_TIMER;
    if (self == nullptr || !isOwn) return DefWindowProcW(window, message, wParam, lParam);
    try {
        if (message == kStartNext) self->StartNext();
        if (message == kDeliver) self->DeliverOne();
        if (message == WM_TIMER) self->OnTimer(wParam);
    } catch (...) {
        LogCurrentError();  // the system, which called, knows no exceptions
    }
    return 0;
}

std::int32_t UrlReader::Impl::Start(std::u16string_view target, std::u16string_view name) {
    const auto [place, isNew] = m_ids.try_emplace(FoldKey(name), m_lastId + 1);
    if (!isNew) return kErrDuplicateKey;
    const std::uint64_t id = ++m_lastId;
    try {
        Read& read = m_reads[id];
        read.name = name;
        read.url = target;
        read.goal = m_goal;
        read.host = HostOf(read.url);
        read.id = id;
        m_gate.Enter(id, read.host);
    } catch (...) {
        m_reads.erase(id);
        m_ids.erase(place);
        throw;
    }
    Post(kStartNext);
    return 0;
}

std::int32_t UrlReader::Impl::Cancel(std::u16string_view name) {
    const auto known = m_ids.find(FoldKey(name));
    if (known == m_ids.end()) return kErrNoSuchRead;
    const std::uint64_t id = known->second;
    const auto taken = m_reads.extract(id);
    m_ids.erase(known);
    std::erase_if(m_queue, [&](const Entry& entry) { return entry.read == id; });
    Abort(taken.mapped());
    return 0;
}

void UrlReader::Impl::Abort(Read& read) {
    m_gate.Leave(read.id);
    if (const ComPtr<UrlBinding> binding = TakeBinding(read)) binding->Abort();
}

// Takes the read's binding and its place; null when it waits for its first.
ComPtr<UrlBinding> UrlReader::Impl::TakeBinding(Read& read) {
    ComPtr<UrlBinding> binding = std::exchange(read.binding, {});
    if (!binding) return binding;
    LeavePlace(read);
    if (--m_bindings == 0) KillTimer(m_window.Get(), kWatchTimer);
    return binding;
}

void UrlReader::Impl::LeavePlace(Read& read) {
    if (!std::exchange(read.hasPlace, false)) return;
    m_gate.Release(read.host);
    Post(kStartNext);
}

// One at a time: inside its start, the system may run the message loop, in which anything may happen.
void UrlReader::Impl::StartNext() {
    const auto id = m_gate.Next(ConnectionGate::Clock::now());
    if (!id) return;
    Read& read = m_reads.at(*id);
    read.hasPlace = true;
    if (!read.binding) {
        *read.binding.Put() = new UrlBinding(
            *id, read.url, m_folders.For(read.goal),
            [this, host = read.host] { return m_gate.IsShared(host); },
            [this, id = *id](BindingNotice notice) { Queue(id, std::move(notice)); });
        if (m_bindings++ == 0) SetTimer(m_window.Get(), kWatchTimer, kWatchInterval, nullptr);
    }
    Post(kStartNext);
    const ComPtr<UrlBinding> binding = read.binding;  // may be the last to hold it
    binding->Start();
}

void UrlReader::Impl::BeginAgain(Read& read, const BindingNotice::Again& again) {
    if (again.isTurnedAway) {
        m_gate.TurnedAway(read.host, again.askedAt, ConnectionGate::Clock::now());
        LeavePlace(read);
    }
    SetTimer(m_window.Get(), static_cast<UINT_PTR>(read.id), static_cast<UINT>(again.pause.count()), nullptr);
}

void UrlReader::Impl::Queue(std::uint64_t id, BindingNotice notice) {
    Read& read = m_reads.at(id);
    if (notice.again) return BeginAgain(read, *notice.again);
    if (IsByteProgress(notice)) {
        read.bytes = std::move(notice);
        QueueBytes(read, false);
        return;
    }
    QueueBytes(read, true);  // the last one, if any, before what follows it
    m_queue.push_back({id, std::move(notice)});
    Post(kDeliver);
}

// At most one waits in the queue, and tells the newest numbers when its turn comes.
void UrlReader::Impl::QueueBytes(Read& read, bool atOnce) {
    if (!read.bytes || read.bytesQueued) return;
    if (!atOnce && GetTickCount64() - read.bytesTold < kBytesInterval) {
        SetTimer(m_window.Get(), kBytesTimer, kBytesInterval, nullptr);
        return;
    }
    read.bytesQueued = true;
    Entry& entry = m_queue.emplace_back();
    entry.read = read.id;
    entry.notice.code = kStatusDownloading;
    Post(kDeliver);
}

void UrlReader::Impl::DeliverOne() {
    std::vector<std::uint64_t> held;  // reads whose earlier notice has to wait
    for (auto entry = m_queue.begin(); entry != m_queue.end(); ++entry) {
        const bool completion = entry->notice.result.has_value();
        const bool mustWait = m_handlers[completion ? 1 : 0].IsRunning() ||
                              std::find(held.begin(), held.end(), entry->read) != held.end();
        if (mustWait) {
            held.push_back(entry->read);
            continue;
        }
        Entry taken = std::move(*entry);
        m_queue.erase(entry);
        Deliver(std::move(taken));
        return;
    }
}

void UrlReader::Impl::Deliver(Entry entry) {
    const auto found = m_reads.find(entry.read);
    if (found == m_reads.end()) return;
    Read& read = found->second;
    if (IsByteProgress(entry.notice)) {
        entry.notice = std::move(*read.bytes);
        read.bytes.reset();
        read.bytesQueued = false;
        read.bytesTold = GetTickCount64();
    }
    BindingNotice& notice = entry.notice;
    AsyncProperty property{
        read.name,   {},         notice.target, Saturated(notice.bytesRead), Saturated(notice.bytesMax),
        notice.code, notice.text};
    const bool completion = notice.result.has_value();
    std::optional<reader::FinishedFile> finished;
    if (completion) {
        std::visit([&](const auto& value) { property.Value = value; }, *notice.result);
        if (const auto binding = TakeBinding(read)) finished = binding->TakeFinished();
        m_ids.erase(FoldKey(read.name));  // free before the handler, which may read under the name again
        m_reads.erase(found);
    }
    CallHandler(completion, property);
    if (finished) finished->Delivered();
}

// The handler may cancel, start, run the message loop or release the reader.
void UrlReader::Impl::CallHandler(bool completion, const AsyncProperty& property) {
    bool ended = false;
    bool* const outer = std::exchange(m_ended, &ended);
    HandlerState::Run running(m_handlers[completion ? 1 : 0]);
    try {
        if (completion) {
            m_events.AsyncReadComplete(property);
        } else {
            m_events.AsyncReadProgress(property);
        }
    } catch (...) {
        LogCurrentError();
    }
    if (ended) {
        running.Forget();
        if (outer != nullptr) *outer = true;
        return;
    }
    m_ended = outer;
    if (!m_queue.empty()) Post(kDeliver);
}

void UrlReader::Impl::OnTimer(UINT_PTR timer) {
    if (timer == kWatchTimer) {
        if (m_gate.Due() <= ConnectionGate::Clock::now()) Post(kStartNext);
        return EndOver();
    }
    KillTimer(m_window.Get(), timer);
    if (timer == kBytesTimer) {
        for (auto& [id, read] : m_reads) QueueBytes(read, true);
        return;
    }
    const auto found = m_reads.find(timer);
    if (found == m_reads.end()) return;
    const ComPtr<UrlBinding> binding = found->second.binding;  // may be the last to hold it
    if (!binding) return;
    if (found->second.hasPlace) return binding->Start();
    m_gate.Return(found->first, found->second.host);
    Post(kStartNext);
}

void UrlReader::Impl::EndOver() {
    std::vector<std::uint64_t> over;
    for (const auto& [id, read] : m_reads) {
        if (!read.binding) continue;
        read.binding->Tick();
        if (read.binding->IsOver()) over.push_back(id);
    }
    // Inside an end the system may run the message loop, in which others may be cancelled.
    for (const std::uint64_t id : over) {
        const auto found = m_reads.find(id);
        if (found == m_reads.end()) continue;
        const ComPtr<UrlBinding> binding = found->second.binding;  // may be the last to hold it
        if (binding) binding->EndOver();
    }
}

UrlReader::UrlReader(IReadEvents& events) : m_impl(std::make_unique<Impl>(events)) {}

UrlReader::~UrlReader() = default;

void UrlReader::ListenHere() {}  // a thread has one message queue

void UrlReader::PlaceNear(std::u16string_view folder) { m_impl->PlaceNear(folder); }

std::int32_t UrlReader::AsyncRead(std::u16string_view target, std::int32_t type,
                                  std::u16string_view propertyName) {
    return type == kReadIntoFile ? m_impl->Start(target, propertyName) : kErrInvalidProcedureCall;
}

std::int32_t UrlReader::CancelAsyncRead(std::u16string_view propertyName) {
    return m_impl->Cancel(propertyName);
}

}  // namespace tsasync::platform
