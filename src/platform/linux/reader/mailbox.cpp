#include "platform/linux/reader/mailbox.h"

#include <iterator>
#include <utility>

namespace tsasync::platform::reader {

namespace {

// Below the priority at which GTK redraws (G_PRIORITY_HIGH_IDLE + 20): a long row of notices must not freeze
// a window.
constexpr gint kPriority = G_PRIORITY_HIGH_IDLE + 30;

// How long one turn of the main loop may deliver, in microseconds.
constexpr gint64 kTurn = 8000;

gboolean CallBack(GSource* source, GSourceFunc callback, gpointer data) {
    g_source_set_ready_time(source, -1);
    return callback(data);
}

GSourceFuncs g_sourceFunctions = {nullptr, nullptr, CallBack, nullptr, nullptr, nullptr};

}  // namespace

void Inbox::Post(std::vector<Notice> notices) {
    const std::lock_guard lock(m_mutex);
    if (m_closed) return;
    // Whoever has not yet taken the last ones has been called already.
    if (m_notices.empty()) g_source_set_ready_time(m_source, 0);
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
        g_source_set_callback(mailbox->m_source, OnDispatch, new std::weak_ptr<Mailbox>(mailbox),
                              [](gpointer self) { delete static_cast<std::weak_ptr<Mailbox>*>(self); });
        GMainContext* context = g_main_context_ref_thread_default();
        g_source_attach(mailbox->m_source, context);
        g_main_context_unref(context);
    }
    return mailbox;
}

Mailbox::Mailbox()
    : m_source(g_source_new(&g_sourceFunctions, sizeof(GSource))),
      m_inbox(std::make_shared<Inbox>(m_source)) {
    g_source_set_priority(m_source, kPriority);
    g_source_set_can_recurse(m_source, TRUE);  // a handler may run a modal dialog's loop
    g_source_set_static_name(m_source, "URL reader");
}

Mailbox::~Mailbox() {
    m_inbox->Close();
    for (Queue::Entry& entry : m_progress.entries) {
        entry.notice.read->completion.reset();  // it holds its read
    }
    g_source_destroy(m_source);
    g_source_unref(m_source);
}

gboolean Mailbox::OnDispatch(gpointer self) {
    // A handler may release the last reader of the thread, and this with it.
    if (const auto mailbox = static_cast<std::weak_ptr<Mailbox>*>(self)->lock()) mailbox->DeliverForAWhile();
    return G_SOURCE_CONTINUE;
}

void Mailbox::DeliverForAWhile() {
    const gint64 end = g_get_monotonic_time() + kTurn;
    m_called = false;
    while (DeliverOne()) {
        if (g_get_monotonic_time() >= end) return CallAgain();
    }
}

void Mailbox::CallAgain() {
    if (!std::exchange(m_called, true)) g_source_set_ready_time(m_source, 0);
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
    queue.delivering = true;
    // Should the handler run a loop, the other kind goes on from there.
    if (m_progress.Ready() || m_completions.Ready()) CallAgain();
    read.receiver->Receive(notice);
    queue.delivering = false;
}

}  // namespace tsasync::platform::reader
