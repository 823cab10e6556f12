#include "platform/url_reader.h"

#include "automation/AutomationError.h"
#include "automation/KeyFold.h"
#include "automation/Text.h"
#include "download_file.h"
#include "own_module.h"
#include "platform/app_log.h"
#include "platform/read_rules.h"
#include "url_binding.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <deque>
#include <exception>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tsasync::platform {

namespace {

constexpr std::size_t kMaxBindings = 64;           // at a time; the others wait
constexpr std::uint64_t kLongestSilence = 60'000;  // ms without a sign of the server
constexpr UINT kDeliver = WM_APP;
constexpr UINT kWatchInterval = 1000;  // ms
constexpr UINT_PTR kWatchTimer = 1;
constexpr wchar_t kWindowClass[] = L"QMASYN10.UrlReader";

}  // namespace

// Monikers call back from inside calls to them, too; what they tell is queued and delivered from the message
// loop, through a window that only takes messages.
//
// A notice of one kind (progress, completion) is not delivered inside a handler of the same kind; it waits,
// and what may be delivered meanwhile is. The notices of one read keep their order.
class UrlReader::Impl {
  public:
    explicit Impl(IReadEvents& events);
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void PlaceNear(std::u16string_view folder);
    std::int32_t Start(std::u16string_view target, std::u16string_view name);
    std::int32_t Cancel(std::u16string_view name);

  private:
    struct Read {
        std::u16string name;
        std::u16string url;
        std::u16string folder;  // of its data
        std::uint64_t id = 0;
        UrlBinding* binding = nullptr;  // null while the read waits
    };
    struct Entry {
        std::uint64_t read;
        BindingNotice notice;
    };
    using Reads = std::unordered_map<std::u16string, Read>;  // by folded name

    static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void Post() { PostMessageW(m_window, kDeliver, 0, 0); }
    void StartWaiting();
    void Queue(std::uint64_t read, BindingNotice notice);
    void DeliverOne();
    void Deliver(Entry entry);
    void CallHandler(bool completion, const AsyncProperty& property);
    void Release(Read& read);
    void OnTimer(UINT_PTR timer);
    void FailSilent();
    Reads::iterator Find(std::uint64_t id);

    IReadEvents& m_events;
    HWND m_window = nullptr;
    std::u16string m_goal;                         // where that is wanted
    std::u16string m_folder = DownloadFolder({});  // of the data of reads from now on
    Reads m_reads;
    std::deque<std::uint64_t> m_waiting;  // ids of reads without a binding, in order; some may be cancelled
    std::deque<Entry> m_queue;
    std::size_t m_bindings = 0;
    std::uint64_t m_lastId = kWatchTimer;  // ids are those of the timers for second tries, too
    std::array<bool, 2> m_inHandler{};     // of progress, of completion
    bool* m_ended = nullptr;               // set by the destructor for a delivery on the stack
};

UrlReader::Impl::Impl(IReadEvents& events) : m_events(events) {
    WNDCLASSW type{};
    type.lpfnWndProc = &OnMessage;
    type.hInstance = OwnModule();
    type.lpszClassName = kWindowClass;
    RegisterClassW(&type);  // fails for the second reader, whose class is there
    m_window =
        CreateWindowExW(0, kWindowClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, OwnModule(), nullptr);
    if (m_window == nullptr) {
        throw AutomationError{
            HRESULT_FROM_WIN32(GetLastError()), {}, u"No window for the reader's messages", {}, 0};
    }
    SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetTimer(m_window, kWatchTimer, kWatchInterval, nullptr);
    SweepDownloadFiles(m_folder);
}

UrlReader::Impl::~Impl() {
    if (m_ended != nullptr) *m_ended = true;
    for (auto& [name, read] : m_reads) Release(read);
    SetWindowLongPtrW(m_window, GWLP_USERDATA, 0);
    DestroyWindow(m_window);
    RemoveDownloadFolder(m_folder);
}

LRESULT CALLBACK UrlReader::Impl::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* const self = reinterpret_cast<Impl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message == kDeliver) {
        self->StartWaiting();
        self->DeliverOne();
        return 0;
    }
    if (self != nullptr && message == WM_TIMER) {
        self->OnTimer(wParam);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void UrlReader::Impl::PlaceNear(std::u16string_view folder) {
    if (folder == m_goal) return;
    m_goal = folder;
    const std::u16string old = std::exchange(m_folder, DownloadFolder(folder));
    if (old == m_folder) return;
    RemoveDownloadFolder(old);
    SweepDownloadFiles(m_folder);
}

std::int32_t UrlReader::Impl::Start(std::u16string_view target, std::u16string_view name) {
    const auto [place, isNew] = m_reads.try_emplace(FoldKey(name));
    if (!isNew) return kErrDuplicateKey;
    place->second = {std::u16string(name), std::u16string(target), m_folder, ++m_lastId, nullptr};
    m_waiting.push_back(m_lastId);
    Post();
    return 0;
}

std::int32_t UrlReader::Impl::Cancel(std::u16string_view name) {
    const auto found = m_reads.find(FoldKey(name));
    if (found == m_reads.end()) return kErrNoSuchRead;
    const std::uint64_t id = found->second.id;
    Release(found->second);
    m_reads.erase(found);
    std::erase_if(m_queue, [&](const Entry& entry) { return entry.read == id; });
    Post();
    return 0;
}

void UrlReader::Impl::Release(Read& read) {
    UrlBinding* const binding = std::exchange(read.binding, nullptr);
    if (binding == nullptr) return;
    --m_bindings;
    binding->Abort();
    binding->Release();
}

UrlReader::Impl::Reads::iterator UrlReader::Impl::Find(std::uint64_t id) {
    return std::find_if(m_reads.begin(), m_reads.end(),
                        [&](const auto& entry) { return entry.second.id == id; });
}

void UrlReader::Impl::StartWaiting() {
    while (m_bindings < kMaxBindings && !m_waiting.empty()) {
        const std::uint64_t id = m_waiting.front();
        m_waiting.pop_front();
        const auto found = Find(id);
        if (found == m_reads.end()) continue;  // cancelled meanwhile
        auto* const binding =
            new UrlBinding(found->second.url, found->second.folder,
                           [this, id](BindingNotice notice) { Queue(id, std::move(notice)); });
        found->second.binding = binding;
        ++m_bindings;
        binding->Start();
    }
}

// Of several waiting notices of byte progress only the last one counts.
void UrlReader::Impl::Queue(std::uint64_t read, BindingNotice notice) {
    if (notice.wait) {
        SetTimer(m_window, static_cast<UINT_PTR>(read), *notice.wait, nullptr);
        return;
    }
    const bool mayReplace = !notice.result && notice.code == kStatusDownloading && !m_queue.empty();
    if (mayReplace && m_queue.back().read == read && !m_queue.back().notice.result &&
        m_queue.back().notice.code == kStatusDownloading) {
        m_queue.back().notice = std::move(notice);
        return;
    }
    m_queue.push_back({read, std::move(notice)});
    Post();
}

void UrlReader::Impl::DeliverOne() {
    std::vector<std::uint64_t> held;  // reads whose earlier notice has to wait
    for (auto entry = m_queue.begin(); entry != m_queue.end(); ++entry) {
        const bool completion = entry->notice.result.has_value();
        const bool mustWait =
            m_inHandler[completion ? 1 : 0] || std::find(held.begin(), held.end(), entry->read) != held.end();
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
    const auto found = Find(entry.read);
    if (found == m_reads.end()) return;
    BindingNotice& notice = entry.notice;
    AsyncProperty property{
        found->second.name,         {},          notice.target, Saturated(notice.bytesRead),
        Saturated(notice.bytesMax), notice.code, notice.text};
    const bool completion = notice.result.has_value();
    if (completion) {
        std::visit([&](const auto& value) { property.Value = value; }, *notice.result);
        if (UrlBinding* const binding = std::exchange(found->second.binding, nullptr)) {
            --m_bindings;
            binding->Release();
        }
        m_reads.erase(found);  // free before the handler, which may read under the name again
    }
    CallHandler(completion, property);
}

// The handler may cancel, start, run the message loop or release the reader.
void UrlReader::Impl::CallHandler(bool completion, const AsyncProperty& property) {
    bool ended = false;
    bool* const outer = std::exchange(m_ended, &ended);
    m_inHandler[completion ? 1 : 0] = true;
    try {
        if (completion) {
            m_events.AsyncReadComplete(property);
        } else {
            m_events.AsyncReadProgress(property);
        }
    } catch (const AutomationError& error) {
        LogEntry(u"Error " + Decimal(error.number) + u" of " + error.source + u": " + error.description);
    } catch (const std::exception&) {
        LogEntry(u"Error in a notification");
    }
    if (ended) {
        if (outer != nullptr) *outer = true;
        return;
    }
    m_ended = outer;
    m_inHandler[completion ? 1 : 0] = false;
    if (!m_queue.empty() || !m_waiting.empty()) Post();
}

void UrlReader::Impl::OnTimer(UINT_PTR timer) {
    if (timer == kWatchTimer) return FailSilent();
    KillTimer(m_window, timer);
    const auto found = Find(timer);
    if (found != m_reads.end() && found->second.binding != nullptr) found->second.binding->Start();
}

void UrlReader::Impl::FailSilent() {
    std::vector<std::uint64_t> silent;
    for (const auto& [name, read] : m_reads) {
        if (read.binding != nullptr && read.binding->SilentFor() > kLongestSilence) silent.push_back(read.id);
    }
    for (const std::uint64_t id : silent) {
        const auto found = Find(id);
        if (found != m_reads.end())
            found->second.binding->Fail(kErrConnectionTimeout, u"The server is silent");
    }
}

UrlReader::UrlReader(IReadEvents& events) : m_impl(std::make_unique<Impl>(events)) {}

UrlReader::~UrlReader() = default;

void UrlReader::PlaceNear(std::u16string_view folder) { m_impl->PlaceNear(folder); }

std::int32_t UrlReader::AsyncRead(std::u16string_view target, std::int32_t type,
                                  std::u16string_view propertyName) {
    return type == kReadIntoFile ? m_impl->Start(target, propertyName) : kErrInvalidProcedureCall;
}

std::int32_t UrlReader::CancelAsyncRead(std::u16string_view propertyName) {
    return m_impl->Cancel(propertyName);
}

}  // namespace tsasync::platform
