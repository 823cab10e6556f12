#pragma once

#include "platform/linux/curl/content_decoder.h"
#include "platform/linux/curl/easy_handle.h"
#include "platform/linux/curl/proxy.h"
#include "platform/linux/curl/report.h"
#include "platform/linux/curl/tls_farewell.h"
#include "platform/reader/digest_check.h"
#include "platform/reader/kept_data.h"
#include "platform/reader/redirections.h"
#include "platform/reader/type_finder.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform::reader {

// What is to happen with a transfer after one of its requests.
struct Verdict {
    enum class Next {
        Finished,  // the file is whole
        Check,     // the file is whole and must agree with its digests: CheckStep
        Failed,
        Again,      // another request of the same host, after `wait`
        Elsewhere,  // another request of another host
    };
    Next next = Next::Finished;
    std::chrono::milliseconds wait{0};
    ReadFailure failure;

    static Verdict Fail(ReadFailure failure) { return {Next::Failed, {}, std::move(failure)}; }
};

// One read over the network: a row of requests (redirections, second tries) and the file that they fill.
// Lives on the transfer thread.
class Transfer {
  public:
    Transfer(std::shared_ptr<Read> read, SourceUrl source, std::shared_ptr<PrivateFolder> folder,
             Outbox& outbox);
    // Unless the transfer finished, what it has got so far is kept for the next read where that can use it.
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    std::uint64_t Id() const { return m_read->id; }
    // Of the request that is under way, or comes next.
    const SourceUrl& Source() const { return m_way.Current(); }

    // Prepares `easy` for the next request and holds it until it is taken back.
    CURL* Attach(EasyHandle easy, const ProxyChoice& proxy);
    EasyHandle Detach() { return std::move(m_easy); }
    CURL* Handle() const { return m_easy.get(); }

    // The request has ended with `code`.
    Verdict Ended(CURLcode code);
    // While a request is under way: does what the time asks for, and tells when something is due next.
    Clock::time_point Tick(Clock::time_point now);
    // When the transfer has been silent for too long, if no byte comes.
    Clock::time_point SilentAt() const;
    // After the verdict Check: does a part of it. Gives the next verdict when all is done.
    std::optional<Verdict> CheckStep();
    // After the verdict Finished: reports success, or a failure to hold the file, and then gives nothing.
    // `hold`: whether the file may keep a descriptor open until it is delivered.
    std::optional<FinishedFile> Finish(bool hold);

  private:
    static std::size_t OnHeader(char* line, std::size_t size, std::size_t count, void* self);
    static std::size_t OnData(char* bytes, std::size_t size, std::size_t count, void* self);
    static curl_socket_t OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static int OnRequest(void* self, char* address, char* localAddress, int port, int localPort);

    void SetUrl();
    void SetFields();
    bool TakeHead();
    bool TakeFirstData();
    bool TakeData(std::string_view bytes);
    bool Save(std::string_view bytes);
    bool Stop(ReadFailure failure);
    bool EndsWithConnection() const;
    bool IsSaved() const { return m_answer && m_answer->IsSaved(); }
    bool BeginSaving();
    Clock::time_point AnnouncedAt() const;
    void Announce(bool last);
    void ReportBytes(Clock::time_point now);
    void Keep(bool last);

    Verdict Judge(CURLcode code);
    Verdict JudgeSaved(CURLcode code);
    Verdict JudgeUnsaved();
    Verdict Redirect();
    std::optional<Verdict> SecondTry(std::optional<std::int64_t> secondsNamed);

    std::shared_ptr<Read> m_read;
    Redirections m_way;
    PartialFile m_file;
    class Report m_report;
    EasyHandle m_easy;
    std::unique_ptr<curl_slist, void (*)(curl_slist*)> m_fields{nullptr, curl_slist_free_all};
    char m_error[CURL_ERROR_SIZE] = {};

    bool m_triedTwice = false;
    bool m_lookedForEarlier = false;
    bool m_reportedConnecting = false;
    bool m_reportedRequest = false;

    // Of the current request.
    ResponseHead m_head;
    std::optional<Answer> m_answer;        // what it means, once its head is there
    std::size_t m_ignored = 0;             // bytes of a body that nobody wants
    std::optional<ReadFailure> m_stopped;  // why we ended it ourselves
    bool m_triedToKeep = false;
    std::unique_ptr<ContentDecoder> m_decoder;  // null when what comes is the content itself
    TlsFarewell m_farewell;
    Clock::time_point m_lastByte;

    std::optional<DigestCheck> m_check;
    TypeFinder m_finder;
    std::string m_mediaType;  // as told
};

}  // namespace tsasync::platform::reader
