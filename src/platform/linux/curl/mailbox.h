#pragma once

#include "platform/linux/curl/read.h"
#include "platform/reader/forced_wait.h"

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
    // The mailbox's source, which is called when there is something to take. It is attached until this is
    // closed or is given another one.
    void SetSource(GSource* source);

    // These two may be called on any thread.
    void Post(std::vector<Notice> notices);
    std::vector<Notice> Take();
    // From now on everything that is posted is dropped.
    void Close();

  private:
    std::mutex m_mutex;
    std::vector<Notice> m_notices;
    bool m_closed = true;  // until it has a source
    GSource* m_source = nullptr;
};

// Delivers one thread's notices from its GLib main context.
//
// A notice of one kind (progress, completion) is not delivered inside a handler of the same kind, as far as
// forced_wait.h has no other level for it; it waits, and whatever of the other kind may be delivered
// meanwhile is. The notices of one read keep their order in any case.
class Mailbox : public std::enable_shared_from_this<Mailbox> {
  public:
    // The calling thread's mailbox, to be held on this thread only. It lives as long as someone holds it.
    static std::shared_ptr<Mailbox> OfThisThread();

    // From now on it delivers from the main context that is the thread's default at this moment; from the
    // start it delivers from the one at its making.
    void ListenHere();

    // False while another thread runs that context: this thread would hear of nothing. Notices are never
    // delivered on another thread; they wait until this one runs the context.
    bool CanDeliver() const;

    Mailbox() = default;
    ~Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    const std::shared_ptr<Inbox>& ForPosting() const { return m_inbox; }
    GMainContext* Context() const { return m_context; }  // stays the mailbox's

  private:
    struct Queue {
        struct Entry {
            std::uint64_t order;
            Notice notice;
        };
        std::deque<Entry> entries;
        HandlerState handlers;

        bool Ready() const { return !handlers.IsRunning() && !entries.empty(); }
    };

    static gboolean OnDispatch(gpointer self);
    void DeliverForAWhile();
    void SortInbox();
    bool DeliverOne();
    void Deliver(Queue& queue);

    void Detach();

    GMainContext* m_context = nullptr;  // owned: a host may drop its own reference at any time
    GSource* m_source = nullptr;        // attached to it
    std::shared_ptr<Inbox> m_inbox = std::make_shared<Inbox>();
    std::uint64_t m_order = 0;
    Queue m_progress;
    Queue m_completions;
};

}  // namespace tsasync::platform::reader
