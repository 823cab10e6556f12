#pragma once

#include "platform/linux/curl/read.h"

#include <glib.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace tsasync::platform::reader {

// Where the transfer thread leaves notices for another thread.
class Inbox {
  public:
    // `source`, a mailbox's, is called when there is something to take; the inbox keeps a reference of its
    // own.
    explicit Inbox(GSource* source) : m_source(g_source_ref(source)) {}
    ~Inbox() { g_source_unref(m_source); }
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;

    // These two may be called on any thread.
    void Post(std::vector<Notice> notices);
    std::vector<Notice> Take();
    // From now on everything that is posted is dropped.
    void Close();

  private:
    std::mutex m_mutex;
    std::vector<Notice> m_notices;
    bool m_closed = false;
    GSource* m_source;
};

// Delivers one thread's notices from its GLib main context.
//
// A notice of one kind (progress, completion) is not delivered inside a handler of the same kind; it waits,
// and whatever of the other kind may be delivered meanwhile is. The notices of one read keep their order in
// any case.
class Mailbox : public std::enable_shared_from_this<Mailbox> {
  public:
    // The calling thread's mailbox, to be held on this thread only. It delivers from the main context that
    // was the thread's default when the mailbox was made, and lives as long as someone holds it.
    static std::shared_ptr<Mailbox> OfThisThread();

    // False while another thread runs that context: this thread would hear of nothing. Notices are never
    // delivered on another thread; they wait until this one runs the context.
    bool CanDeliver() const;

    Mailbox();
    ~Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    const std::shared_ptr<Inbox>& ForPosting() const { return m_inbox; }
    GMainContext* Context() const { return g_source_get_context(m_source); }  // stays the mailbox's

  private:
    struct Queue {
        struct Entry {
            std::uint64_t order;
            Notice notice;
        };
        std::deque<Entry> entries;
        bool delivering = false;

        bool Ready() const { return !delivering && !entries.empty(); }
    };

    static gboolean OnDispatch(gpointer self);
    void DeliverForAWhile();
    void SortInbox();
    bool DeliverOne();
    void Deliver(Queue& queue);

    GSource* m_source;
    std::shared_ptr<Inbox> m_inbox;
    std::uint64_t m_order = 0;
    Queue m_progress;
    Queue m_completions;
};

}  // namespace tsasync::platform::reader
