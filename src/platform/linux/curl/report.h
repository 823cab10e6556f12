#pragma once

#include "platform/linux/curl/read.h"
#include "platform/reader/source_url.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tsasync::platform::reader {

using Clock = std::chrono::steady_clock;

// Notices on their way out of the transfer thread, sent in batches so that the receiving loop wakes seldom.
class Outbox {
  public:
    void Add(Notice notice) { m_notices.push_back(std::move(notice)); }
    void Send();

  private:
    std::vector<Notice> m_notices;
};

// What one read's owner hears, in the right order: status changes all of them, byte progress coalesced.
class Report {
  public:
    Report(std::shared_ptr<Read> read, Outbox& outbox)
        : m_read(std::move(read)), m_url(WithoutUser(m_read->url)), m_outbox(outbox) {}

    void Status(ReadStatus code, std::string_view text);
    // The data begins: its media type, then the begin of the download. Counts once.
    void Begin(std::string_view mediaType);
    bool HasBegun() const { return m_begun; }
    // So many bytes are there, of `max` (0: unknown).
    void Bytes(std::int64_t soFar, std::int64_t max, Clock::time_point now);
    // When byte progress that was held back is due; max() when none is.
    Clock::time_point Due() const { return m_held && m_begun ? m_next : Clock::time_point::max(); }
    void SendHeld(Clock::time_point now);

    void Succeed(const std::string& path);
    void Fail(ReadFailure failure);

  private:
    void SendBytes(Clock::time_point now);

    std::shared_ptr<Read> m_read;
    const std::string m_url;  // as it may be shown
    Outbox& m_outbox;
    Clock::time_point m_next{};  // before this no further byte progress is sent
    bool m_held = false;
    bool m_begun = false;
};

}  // namespace tsasync::platform::reader
