#include "platform/linux/curl/report.h"

#include "base/Utf8.h"
#include "platform/linux/curl/mailbox.h"
#include "platform/linux/files/native_path.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr auto kBetweenProgress = std::chrono::milliseconds(100);

}  // namespace

void Outbox::Send() {
    for (auto first = m_notices.begin(); first != m_notices.end();) {
        const std::shared_ptr<Inbox> inbox = first->read->inbox;
        const auto last =
            std::find_if(first, m_notices.end(), [&](const Notice& one) { return one.read->inbox != inbox; });
        inbox->Post({std::make_move_iterator(first), std::make_move_iterator(last)});
        first = last;
    }
    m_notices.clear();
}

void Report::Status(ReadStatus code, std::string_view text) {
    m_outbox.Add({m_read, code, FromUtf8(text), std::nullopt});
}

void Report::Begin(std::string_view mediaType) {
    if (std::exchange(m_begun, true)) return;
    Status(kStatusMimeTypeAvailable, mediaType);
    Status(kStatusBeginDownload, m_url);
}

void Report::Bytes(std::int64_t soFar, std::int64_t max, Clock::time_point now) {
    m_read->bytesRead.store(soFar, std::memory_order_relaxed);
    m_read->bytesMax.store(max, std::memory_order_relaxed);
    m_held = true;
    SendHeld(now);
}

void Report::SendHeld(Clock::time_point now) {
    if (m_held && m_begun && now >= m_next) SendBytes(now);
}

void Report::SendBytes(Clock::time_point now) {
    m_held = false;
    m_next = now + kBetweenProgress;
    // A notice that still waits will tell the newest numbers.
    if (!m_read->progressWaits.exchange(true)) Status(kStatusDownloading, m_url);
}

void Report::Succeed(const std::string& path) {
    if (m_held) SendBytes(m_next);
    Status(kStatusEndDownload, m_url);
    m_outbox.Add({m_read, 0, {}, FromNativeBytes(path)});
}

void Report::Fail(ReadFailure failure) {
    if (m_held && m_begun) SendBytes(m_next);
    m_outbox.Add({m_read, 0, {}, std::move(failure)});
}

}  // namespace tsasync::platform::reader
