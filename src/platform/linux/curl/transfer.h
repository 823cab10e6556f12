#pragma once

#include "platform/linux/curl/content_decoder.h"
#include "platform/linux/curl/easy_handle.h"
#include "platform/linux/curl/kept_connections.h"
#include "platform/linux/curl/proxy.h"
#include "platform/linux/curl/report.h"
#include "platform/linux/curl/timing.h"
#include "platform/linux/curl/tls_farewell.h"
#include "platform/reader/digest_check.h"
#include "platform/reader/kept_data.h"
#include "platform/reader/patience.h"
#include "platform/reader/redirections.h"
#include "platform/reader/type_finder.h"

#include <array>
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
        Again,       // another request of the same host
        TurnedAway,  // the same request after `pause`; the place at the host is for others meanwhile
        Elsewhere,   // another request of another host
    };
    Next next = Next::Finished;
    std::chrono::milliseconds pause{0};
    ReadFailure failure;

    static Verdict Fail(ReadFailure failure) { return {Next::Failed, {}, std::move(failure)}; }
};

// One read over the network: a row of requests (redirections, second tries) and the file that they fill.
// Lives on the transfer thread.
class Transfer {
  public:
    Transfer(std::shared_ptr<Read> read, SourceUrl source, std::shared_ptr<PrivateFolder> folder,
             KeptConnections& connections, Outbox& outbox);
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

    // The request has ended with `code`. `othersAreServed`: whether other reads hold places at its host.
    Verdict Ended(CURLcode code, bool othersAreServed);
    // When the request that is under way, or was the last, began.
    Clock::time_point AskedAt() const { return m_request.askedAt; }
    // While a request is under way: does what the time asks for, and tells when something is due next.
    Clock::time_point Tick(Clock::time_point now);
    // When the request is to be ended, if nothing else happens: its server has been silent for too long, its
    // head is still not complete, or what comes is not wanted.
    Clock::time_point OverAt() const;
    // After the verdict Check: does a part of it. Gives the next verdict when all is done.
    std::optional<Verdict> CheckStep();
    // After the verdict Finished: reports success, or a failure to hold the file, and then gives nothing.
    // `hold`: whether the file may keep a descriptor open until it is delivered.
    std::optional<FinishedFile> Finish(bool hold);

  private:
    // What is known of the current request; a new one begins with a new one of these.
    struct Request {
        std::unique_ptr<curl_slist, void (*)(curl_slist*)> fields{nullptr, curl_slist_free_all};
        std::array<char, CURL_ERROR_SIZE> error{};  // libcurl's text
        Clock::time_point askedAt;
        Clock::time_point lastByte;
        bool connectionIsNew = false;
        ResponseHead head;
        std::optional<Answer> answer;  // what it means, once its head is there
        std::size_t ignored = 0;       // bytes of a body that nobody wants
        std::optional<Clock::time_point> ignoredUntil;
        std::unique_ptr<ContentDecoder> decoder;  // null when what comes is the content itself
        std::optional<ReadFailure> stopped;       // why we ended it ourselves
        bool triedToKeep = false;
        TlsFarewell farewell;
    };

    static std::size_t OnHeader(char* line, std::size_t size, std::size_t count, void* self);
    static std::size_t OnData(char* bytes, std::size_t size, std::size_t count, void* self);
    static curl_socket_t OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static int OnRequest(void* self, char* address, char* ownAddress, int port, int ownPort);

    void SetUrl();
    void SetFields();
    bool TakeHead();
    void Ignore();
    bool TakeFirstData();
    bool TakeData(std::string_view bytes);
    bool Save(std::string_view bytes);
    bool Stop(ReadFailure failure);
    bool EndsWithConnection() const;
    bool IsSaved() const { return m_request.answer && m_request.answer->IsSaved(); }
    bool BeginSaving();
    Clock::time_point AnnouncedAt() const;
    void Announce(bool last);
    void ReportBytes(Clock::time_point now);
    void Keep(bool last);

    Verdict Judge(CURLcode code, bool othersAreServed);
    Verdict JudgeSaved(CURLcode code);
    Verdict JudgeUnsaved();
    Verdict Redirect();
    std::optional<Verdict> TurnedAway(std::optional<std::int64_t> secondsNamed);

    std::shared_ptr<Read> m_read;
    Redirections m_way;
    PartialFile m_file;
    class Report m_report;
    KeptConnections& m_connections;
    EasyHandle m_easy;
    Patience m_patience{Timing()};
    bool m_lookedForEarlier = false;
    bool m_connectAnew = false;  // the connection that was kept for the request can't be used
    int m_unusable = 0;          // how many in a row could not
    bool m_reportedConnecting = false;
    bool m_reportedRequest = false;

    Request m_request;

    std::optional<DigestCheck> m_check;
    TypeFinder m_finder;
    std::string m_mediaType;  // as told
};

}  // namespace tsasync::platform::reader
