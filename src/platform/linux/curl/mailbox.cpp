#include "platform/linux/curl/mailbox.h"

#include "base/LogError.h"

#include <iterator>
#include <utility>

namespace tsasync::platform::reader {

namespace {

// Below the priority at which GTK redraws (G_PRIORITY_HIGH_IDLE + 20): a long row of notices must not freeze
// a window.
constexpr gint kPriority = G_PRIORITY_HIGH_IDLE + 30;

// How long one turn of the main loop may deliver, in microseconds.
constexpr gint64 kTurn = 8000;

// The source of one mailbox. Of its members GLib knows the first only.
struct MailSource {
    GSource base;
    GThread* owner;  // the only thread that may deliver; compared, never used
    gint called;     // whether there is something to deliver; atomic
};

MailSource* AsMail(GSource* source) { return reinterpret_cast<MailSource*>(source); }

// Also when another thread than the owner runs the context: to that one the source is never ready.
gboolean IsReady(GSource* source) {
    return g_atomic_int_get(&AsMail(source)->called) != 0 && AsMail(source)->owner == g_thread_self();
}

gboolean Prepare(GSource* source, gint* timeout) {
    *timeout = -1;
    return IsReady(source);
}

gboolean CallBack(GSource* source, GSourceFunc callback, gpointer data) {
    g_atomic_int_set(&AsMail(source)->called, 0);
    return callback(data);
}

GSourceFuncs g_sourceFunctions = {Prepare, IsReady, CallBack, nullptr, nullptr, nullptr};

// On any thread, while the source is attached.
void Call(GSource* source) {
    if (g_atomic_int_compare_and_exchange(&AsMail(source)->called, 0, 1)) {
        g_main_context_wakeup(g_source_get_context(source));
    }
}

}  // namespace

void Inbox::SetSource(GSource* source) {
    const std::lock_guard lock(m_mutex);
    m_source = source;
    m_closed = false;
}

void Inbox::Post(std::vector<Notice> notices) {
    const std::lock_guard lock(m_mutex);
    if (m_closed) return;
    // Whoever has not yet taken the last ones has been called already.
    if (m_notices.empty()) Call(m_source);
    m_notices.insert(m_notices.end(), std::make_move_iterator(notices.begin()),
                     std::make_move_iterator(notices.end()));
}

std::vector<Notice> Inbox::Take() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_notices, {});
}

void Inbox::Close() {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    m_notices.clear();
}

std::shared_ptr<Mailbox> Mailbox::OfThisThread() {
    thread_local std::weak_ptr<Mailbox> known;
    auto mailbox = known.lock();
    if (!mailbox) {
        mailbox = std::make_shared<Mailbox>();
        known = mailbox;
        mailbox->ListenHere();
    }
    return mailbox;
}

void Mailbox::ListenHere() {
    GSource* const source = g_source_new(&g_sourceFunctions, sizeof(MailSource));
    AsMail(source)->owner = g_thread_self();
    g_source_set_priority(source, kPriority);
    g_source_set_can_recurse(source, TRUE);  // a handler may run a modal dialog's loop
    g_source_set_static_name(source, "URL reader");
    g_source_set_callback(source, OnDispatch, new std::weak_ptr<Mailbox>(weak_from_this()),
                          [](gpointer self) { delete static_cast<std::weak_ptr<Mailbox>*>(self); });
    GMainContext* const context = g_main_context_ref_thread_default();
    g_source_attach(source, context);
    m_inbox->SetSource(source);
    Detach();
    m_source = source;
    m_context = context;
    Call(m_source);  // for what waits already
}

void Mailbox::Detach() {
    if (m_source == nullptr) return;
    g_source_destroy(m_source);
    g_source_unref(m_source);
    g_main_context_unref(m_context);
}

Mailbox::~Mailbox() {
    m_inbox->Close();
    // A completion that waits in its own read would keep it for ever.
    for (const auto& entry : m_progress.entries) entry.notice.read->completion.reset();
    Detach();
}

bool Mailbox::CanDeliver() const {
    if (!g_main_context_acquire(m_context)) return false;
    g_main_context_release(m_context);
    return true;
}

gboolean Mailbox::OnDispatch(gpointer self) {
    // A handler may release the last reader of the thread, and this with it.
    const auto mailbox = static_cast<std::weak_ptr<Mailbox>*>(self)->lock();
    try {
        if (mailbox) mailbox->DeliverForAWhile();
    } catch (...) {
        LogCurrentError();  // GLib, which called, knows no exceptions
    }
    return G_SOURCE_CONTINUE;
}

void Mailbox::DeliverForAWhile() {
    const gint64 end = g_get_monotonic_time() + kTurn;
    while (DeliverOne()) {
        if (g_get_monotonic_time() >= end) return Call(m_source);
    }
}

void Mailbox::SortInbox() {
    for (Notice& notice : m_inbox->Take()) {
        Read& read = *notice.read;
        if (!notice.result) {
            ++read.waiting;
            m_progress.entries.push_back({m_order++, std::move(notice)});
        } else if (read.waiting > 0) {
            read.completion = std::move(notice);
        } else {
            m_completions.entries.push_back({m_order++, std::move(notice)});
        }
    }
}

bool Mailbox::DeliverOne() {
    SortInbox();
    const bool progress = m_progress.Ready();
    const bool completion = m_completions.Ready();
    if (!progress && !completion) return false;
    const bool completionFirst =
        completion && (!progress || m_completions.entries.front().order < m_progress.entries.front().order);
    Deliver(completionFirst ? m_completions : m_progress);
    return true;
}

void Mailbox::Deliver(Queue& queue) {
    const Notice notice = std::move(queue.entries.front().notice);
    queue.entries.pop_front();
    Read& read = *notice.read;
    if (!notice.result && --read.waiting == 0 && read.completion) {
        m_completions.entries.push_back({m_order++, *std::exchange(read.completion, std::nullopt)});
    }
    if (read.receiver == nullptr) return;  // cancelled meanwhile
    const HandlerState::Run running(queue.handlers);
    // Should the handler run a loop, what may be delivered there goes on from there.
    if (!m_progress.entries.empty() || !m_completions.entries.empty()) Call(m_source);
    read.receiver->Receive(notice);
}

}  // namespace tsasync::platform::reader
