#include "platform/url_reader.h"

#include "base/ErrorNumbers.h"
#include "base/KeyFold.h"
#include "base/LogError.h"
#include "base/Utf8.h"
#include "platform/app_log.h"
#include "platform/linux/curl/mailbox.h"
#include "platform/linux/curl/transfer_thread.h"
#include "platform/linux/files/native_path.h"
#include "platform/reader/read_rules.h"
#include "platform/reader/source_url.h"

#include <exception>
#include <filesystem>
#include <new>
#include <system_error>
#include <unordered_map>
#include <utility>

namespace tsasync::platform {

class UrlReader::Impl final : public reader::NoticeReceiver {
  public:
    explicit Impl(IReadEvents& events)
        : m_events(events),
          m_mailbox(reader::Mailbox::OfThisThread()),
          m_thread(reader::TransferThread::OfThisProcess()) {}

    ~Impl() {
        for (auto& [name, read] : m_reads) Forget(*read);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void ListenHere() { m_mailbox->ListenHere(); }
    void PlaceNear(std::u16string_view folder);
    std::int32_t Start(std::u16string_view target, std::u16string_view name);
    std::int32_t Cancel(std::u16string_view name);

  private:
    void Receive(const reader::Notice& notice) override;
    void Forget(reader::Read& read);

    IReadEvents& m_events;
    std::shared_ptr<reader::Mailbox> m_mailbox;
    reader::TransferThread& m_thread;
    std::string m_folder;
    std::unordered_map<std::u16string, std::shared_ptr<reader::Read>> m_reads;  // by folded name
};

void UrlReader::Impl::PlaceNear(std::u16string_view folder) {
    // The process may have gone to another folder when the read begins.
    std::error_code nowhere;  // the folder where the process is may be gone
    m_folder =
        folder.empty() ? std::string() : std::filesystem::absolute(ToNativeBytes(folder), nowhere).string();
}

std::int32_t UrlReader::Impl::Start(std::u16string_view target, std::u16string_view name) {
    if (!m_mailbox->CanDeliver()) {
        LogEntry(u"No read of " + FromUtf8(reader::WithoutUser(ToUtf8(target))) +
                 u": another thread runs the main context from which this thread would hear of it. Push a "
                 u"thread-default main context first.");
        return kErrNoSession;
    }
    const auto [place, isNew] = m_reads.try_emplace(FoldKey(name));
    if (!isNew) return kErrDuplicateKey;
    try {
        auto read = std::make_shared<reader::Read>();
        read->id = m_thread.NewId();
        read->url = ToUtf8(target);
        read->folder = m_folder;
        read->inbox = m_mailbox->ForPosting();
        read->name = name;
        read->target = target;
        read->receiver = this;
        place->second = read;
        m_thread.Start(std::move(read));
    } catch (...) {
        m_reads.erase(place);
        throw;
    }
    return 0;
}

std::int32_t UrlReader::Impl::Cancel(std::u16string_view name) {
    const auto found = m_reads.find(FoldKey(name));
    if (found == m_reads.end()) return kErrNoSuchRead;
    Forget(*found->second);
    m_reads.erase(found);
    return 0;
}

void UrlReader::Impl::Forget(reader::Read& read) {
    read.receiver = nullptr;
    try {
        m_thread.Cancel(read.id);
    } catch (const std::bad_alloc&) {
        // It runs on, unheard, and what it leaves is swept.
    }
}

void UrlReader::Impl::Receive(const reader::Notice& notice) {
    reader::Read& read = *notice.read;
    if (notice.code == kStatusRedirecting) read.target = notice.text;
    if (notice.code == kStatusDownloading) read.progressWaits = false;
    AsyncProperty property{
        read.name,   {},         read.target, Saturated(read.bytesRead), Saturated(read.bytesMax),
        notice.code, notice.text};
    reader::TransferThread& thread = m_thread;  // a handler may release this reader
    try {
        if (!notice.result) {
            m_events.AsyncReadProgress(property);
            return;
        }
        std::visit([&](const auto& value) { property.Value = value; }, *notice.result);
        read.receiver = nullptr;
        m_reads.erase(FoldKey(read.name));  // free before the handler, which may read under the name again
        m_events.AsyncReadComplete(property);
    } catch (...) {
        LogCurrentError();
    }
    if (notice.result) thread.Delivered(read.id, read.isHeld);
}

UrlReader::UrlReader(IReadEvents& events) : m_impl(std::make_unique<Impl>(events)) {}

UrlReader::~UrlReader() = default;

void UrlReader::ListenHere() { m_impl->ListenHere(); }

void UrlReader::PlaceNear(std::u16string_view folder) { m_impl->PlaceNear(folder); }

std::int32_t UrlReader::AsyncRead(std::u16string_view target, std::int32_t type,
                                  std::u16string_view propertyName) {
    return type == kReadIntoFile ? m_impl->Start(target, propertyName) : kErrInvalidProcedureCall;
}

std::int32_t UrlReader::CancelAsyncRead(std::u16string_view propertyName) {
    return m_impl->Cancel(propertyName);
}

}  // namespace tsasync::platform
