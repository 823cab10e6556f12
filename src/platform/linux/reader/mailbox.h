#pragma once

#include "platform/linux/reader/read.h"

#include <glib.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace tsasync::platform::reader {

// The way of notices from the transfer thread to one other thread, which delivers them from its GLib main
// context.
//
// A notice of one kind (progress, completion) is not delivered inside a handler of the same kind; it waits,
// and whatever of the other kind may be delivered meanwhile is. The notices of one read keep their order in
// any case.
class Mailbox : public std::enable_shared_from_this<Mailbox> {
  public:
    // The calling thread's mailbox. It delivers from the main context that was the thread's default when the
    // mailbox was made, and lives as long as someone holds it.
    static std::shared_ptr<Mailbox> OfThisThread();

    Mailbox();
    ~Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    // Called on the transfer thread.
    void Post(std::vector<Notice> notices);

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
    void CallAgain();
    void TakeInbox();
    bool DeliverOne();
    void Deliver(Queue& queue);

    std::mutex m_mutex;
    std::vector<Notice> m_inbox;  // guarded by m_mutex

    // The delivering thread's.
    GSource* m_source;
    bool m_called = false;  // whether the source is due already
    std::uint64_t m_order = 0;
    Queue m_progress;
    Queue m_completions;
};

}  // namespace tsasync::platform::reader
