#include "platform/linux/curl/transfer.h"

#include "platform/linux/curl/read_error.h"
#include "platform/linux/curl/timing.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::size_t kMaxIgnored = 64 * 1024;  // of an unwanted body, to keep the connection usable

std::string AddressText(const curl_sockaddr& address) {
    char host[NI_MAXHOST] = {};
    getnameinfo(&address.addr, address.addrlen, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
    return host;
}

// A proxy that refuses the user has let no response through; libcurl tells of it as of a broken connection.
// Some proxies say 401 then.
bool ProxyWantsUser(CURL* easy, CURLcode code) {
    long status = 0;
    long refusal = CURLPX_OK;
    curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &status);
    if (code == CURLE_PROXY) curl_easy_getinfo(easy, CURLINFO_PROXY_ERROR, &refusal);
    return status == 407 || status == 401 || refusal == CURLPX_USER_REJECTED || refusal == CURLPX_NO_AUTH;
}

}  // namespace

Transfer::Transfer(std::shared_ptr<Read> read, SourceUrl source, std::shared_ptr<PrivateFolder> folder,
                   Outbox& outbox)
    : m_read(std::move(read)),
      m_way(std::move(source)),
      m_file(std::move(folder), SourceOf(m_way.Asked())),
      m_report(m_read, outbox),
      m_finder(Timing().longestSniff) {
    m_report.Status(kStatusFindingResource, Source().host);
}

Transfer::~Transfer() { Keep(true); }

CURL* Transfer::Attach(EasyHandle easy, const ProxyChoice& proxy) {
    m_easy = std::move(easy);
    CURL* const handle = m_easy.get();
    if (m_way.Asked().IsWeb() && !std::exchange(m_lookedForEarlier, true)) m_file.FindEarlier();
    curl_easy_setopt(handle, CURLOPT_PRIVATE, this);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, m_error);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnData);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, OnOpenSocket);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, OnRequest);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(handle, CURLOPT_PROXY, proxy ? proxy->c_str() : nullptr);
    SetUrl();
    SetFields();
    m_error[0] = '\0';
    m_head = {};
    m_decoder.reset();
    m_farewell = {};
    m_answer.reset();
    m_ignored = 0;
    m_stopped.reset();
    m_triedToKeep = false;
    m_lastByte = Clock::now();
    return handle;
}

void Transfer::SetUrl() {
    const bool named = Source().NamesUser();
    curl_easy_setopt(m_easy.get(), CURLOPT_URL, Source().text.c_str());
    // A secured server says when it is connected whether the connection can serve many reads; of another one
    // libcurl would wait for the first answer only to learn that it can't.
    curl_easy_setopt(m_easy.get(), CURLOPT_PIPEWAIT, Source().scheme == "https" ? 1L : 0L);
    curl_easy_setopt(m_easy.get(), CURLOPT_USERNAME, named ? Source().user.c_str() : nullptr);
    curl_easy_setopt(m_easy.get(), CURLOPT_PASSWORD, named ? Source().password.c_str() : nullptr);
}

void Transfer::SetFields() {
    m_fields.reset();
    for (const std::string& field : RequestFields(KeptOf(m_file)))
        m_fields.reset(curl_slist_append(m_fields.release(), field.c_str()));
    curl_easy_setopt(m_easy.get(), CURLOPT_HTTPHEADER, m_fields.get());
}

curl_socket_t Transfer::OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address) {
    auto* transfer = static_cast<Transfer*>(self);
    if (purpose == CURLSOCKTYPE_IPCXN && !std::exchange(transfer->m_reportedConnecting, true)) {
        transfer->m_report.Status(kStatusConnecting, AddressText(*address));
    }
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

int Transfer::OnRequest(void* self, char* address, char*, int, int) {
    auto* transfer = static_cast<Transfer*>(self);
    if (!std::exchange(transfer->m_reportedConnecting, true))
        transfer->m_report.Status(kStatusConnecting, address);
    if (!std::exchange(transfer->m_reportedRequest, true))
        transfer->m_report.Status(kStatusSendingRequest, address);
    return CURL_PREREQFUNC_OK;
}

std::size_t Transfer::OnHeader(char* line, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    const std::string_view text(line, size * count);
    transfer->m_lastByte = Clock::now();
    // A file server's answers come here as well.
    if (transfer->m_head.Status() == 0 && !text.starts_with("HTTP/")) return text.size();
    if (!transfer->m_head.AddLine(text)) {
        transfer->Stop(Failure(why::kUntrustedHead, transfer->Source().text));
        return 0;
    }
    const bool decide = !transfer->m_answer && transfer->m_head.Complete();
    return !decide || transfer->TakeHead() ? text.size() : 0;
}

std::size_t Transfer::OnData(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    return transfer->TakeData({bytes, size * count}) ? size * count : 0;
}

bool Transfer::Stop(ReadFailure failure) {
    m_stopped = std::move(failure);
    return false;
}

// The head of a final HTTP response is complete. Here and below false ends the request.
bool Transfer::TakeHead() {
    const int status = m_head.Status();
    if (status == 401 || status == 407) return true;  // perhaps libcurl answers it with the user's name
    m_head.End();
    const bool isEncoded = !m_head.contentCodings.empty();
    if (isEncoded) m_decoder = ContentDecoder::For(m_head.contentCodings);
    m_answer = reader::Judge(m_head, KeptOf(m_file), !isEncoded || m_decoder, Source().text);
    if (m_answer->meaning == Answer::Meaning::Content) m_file.StartOver();
    if (IsSaved()) return BeginSaving();
    // The content of an answer that brings what nobody wants may be as long as the file.
    return status != 200 && status != 206;
}

// Only then: a connection that goes on, or carries other transfers too, must hold nothing of this one.
bool Transfer::EndsWithConnection() const {
    long version = 0;
    curl_easy_getinfo(m_easy.get(), CURLINFO_HTTP_VERSION, &version);
    const bool one = version == CURL_HTTP_VERSION_1_0 || version == CURL_HTTP_VERSION_1_1;
    return one && !m_head.contentLength && !m_head.isChunked;
}

bool Transfer::BeginSaving() {
    if (EndsWithConnection()) m_farewell.Await(m_easy.get());
    const auto& earlier = m_file.Earlier();
    m_finder.Begin(m_head.mediaType, earlier ? earlier->mediaType : "", m_file.Beginning(kSniffSize),
                   m_lastByte);
    Announce(false);
    ReportBytes(m_lastByte);
    return true;
}

// A file server sends no head.
bool Transfer::TakeFirstData() {
    curl_off_t length = -1;
    curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    m_file.StartOver();
    m_answer.emplace();
    m_answer->meaning = Answer::Meaning::Content;
    m_answer->total = length > 0 ? length : 0;
    return BeginSaving();
}

bool Transfer::TakeData(std::string_view bytes) {
    m_lastByte = Clock::now();
    if (!m_answer && m_head.Status() == 0 && !TakeFirstData()) return false;
    if (!IsSaved()) {
        m_ignored += bytes.size();
        return m_ignored <= kMaxIgnored;
    }
    if (!m_decoder) return Save(bytes);
    if (m_decoder->Decode(bytes, [this](std::string_view decoded) { return Save(decoded); })) return true;
    return m_stopped ? false : Stop(Failure(why::kBrokenCoding, Source().text));
}

bool Transfer::Save(std::string_view bytes) {
    if (const int error = m_file.Write(bytes)) return Stop(FileFailure(error, m_file.Path()));
    if (!m_report.HasBegun()) {
        m_finder.Add(bytes, m_lastByte);
        Announce(false);
    }
    if (m_file.Size() >= kWorthKeeping && !std::exchange(m_triedToKeep, true)) Keep(false);
    ReportBytes(m_lastByte);
    return true;
}

// When the media type is told with what of the content is there by then.
Clock::time_point Transfer::AnnouncedAt() const {
    return IsSaved() && !m_report.HasBegun() ? m_finder.Due() : Clock::time_point::max();
}

// Tells the media type as soon as enough of the content is there to know it, or with what is there.
void Transfer::Announce(bool last) {
    if (m_report.HasBegun() || (!last && !m_finder.IsSure())) return;
    m_mediaType = m_finder.TypeOf(Source().text);
    m_report.Begin(m_mediaType);
}

void Transfer::ReportBytes(Clock::time_point now) { m_report.Bytes(m_file.Size(), m_answer->total, now); }

void Transfer::Keep(bool last) {
    if (IsSaved() && m_way.Asked().IsWeb()) KeepIfUseful(m_file, m_head, m_mediaType, m_answer->total, last);
}

Clock::time_point Transfer::Tick(Clock::time_point now) {
    if (AnnouncedAt() <= now) Announce(true);
    m_report.SendHeld(now);
    return std::min({m_report.Due(), AnnouncedAt(), SilentAt()});
}

Clock::time_point Transfer::SilentAt() const { return m_lastByte + Timing().silence; }

Verdict Transfer::Ended(CURLcode code) {
    Verdict verdict = Judge(code);
    if (verdict.next == Verdict::Next::Failed) {
        Keep(true);
        m_report.Fail(verdict.failure);
    }
    return verdict;
}

Verdict Transfer::Judge(CURLcode code) {
    if (m_stopped) return Verdict::Fail(*m_stopped);
    if (!m_answer && m_head.Status() == 0 && code == CURLE_OK) TakeFirstData();  // an empty file by ftp
    if (IsSaved()) return JudgeSaved(code);
    // The body of a response that is none of ours may end as it likes.
    if (m_head.Complete()) return JudgeUnsaved();
    if (code == CURLE_COULDNT_CONNECT) {
        long systemError = 0;
        curl_easy_getinfo(m_easy.get(), CURLINFO_OS_ERRNO, &systemError);
        if (systemError == ECONNREFUSED) {
            if (const auto again = SecondTry(std::nullopt)) return *again;
        }
    }
    if (ProxyWantsUser(m_easy.get(), code)) code = CURLE_LOGIN_DENIED;
    // libcurl's word for a line that is too long for it.
    if (code == CURLE_OUT_OF_MEMORY) return Verdict::Fail(Failure(why::kUntrustedHead, Source().text));
    return Verdict::Fail(
        TransportFailure(code == CURLE_OK ? CURLE_WEIRD_SERVER_REPLY : code, m_error, Source().text));
}

Verdict Transfer::JudgeSaved(CURLcode code) {
    if (code != CURLE_OK) return Verdict::Fail(TransportFailure(code, m_error, Source().text));
    const BodyEnd end{m_file.Size(), !m_farewell.IsMissing(), !m_decoder || m_decoder->AtEnd()};
    if (auto failure = reader::Judge(*m_answer, end, Source().text))
        return Verdict::Fail(std::move(*failure));
    if (!m_answer->digests.Any()) return {};
    if (const int error = m_file.Write({})) return Verdict::Fail(FileFailure(error, m_file.Path()));
    m_check.emplace(m_file.Data(), m_answer->digests);
    return {Verdict::Next::Check, {}, {}};
}

std::optional<Verdict> Transfer::CheckStep() {
    if (m_check->Step()) return std::nullopt;
    Verdict verdict;
    if (const int error = m_check->Error()) {
        verdict = Verdict::Fail(FileFailure(error, m_file.Path()));
    } else if (!m_check->Agrees()) {
        m_file.StartOver();
        m_answer.reset();  // nothing of it is worth keeping
        verdict = Verdict::Fail(Failure(why::kOtherDigest, Source().text));
    } else {
        return verdict;
    }
    m_report.Fail(verdict.failure);
    return verdict;
}

Verdict Transfer::JudgeUnsaved() {
    // What asked for the user's name did not get one.
    if (!m_answer) m_answer = reader::Judge(m_head, KeptOf(m_file), true, Source().text);
    switch (m_answer->meaning) {
        case Answer::Meaning::Moved:
            return Redirect();
        case Answer::Meaning::Mismatch:
            m_file.StartOver();
            return {Verdict::Next::Again, {}, {}};
        case Answer::Meaning::Unchanged:
            m_mediaType = m_file.Earlier()->mediaType;
            ReportBytes(m_lastByte);
            m_report.Begin(m_mediaType);
            return {};
        case Answer::Meaning::Busy:
            if (const auto again = SecondTry(ParseRetryAfter(m_head.retryAfter, std::time(nullptr))))
                return *again;
            break;
        default:
            break;
    }
    return Verdict::Fail(m_answer->failure);
}

Verdict Transfer::Redirect() {
    const std::string host = Source().host;
    if (auto failure = m_way.Follow(m_head)) return Verdict::Fail(std::move(*failure));
    m_report.Status(kStatusRedirecting, Source().text);
    m_file.Follow(SourceOf(Source()));
    m_lookedForEarlier = false;
    return {host == Source().host ? Verdict::Next::Again : Verdict::Next::Elsewhere, {}, {}};
}

std::optional<Verdict> Transfer::SecondTry(std::optional<std::int64_t> secondsNamed) {
    const std::chrono::seconds named(secondsNamed.value_or(0));
    if (m_triedTwice || named > Timing().longestWait) return std::nullopt;
    m_triedTwice = true;
    // Spread by the read's number, so that reads that were turned away together don't come back together.
    const auto spread = Timing().secondTry * static_cast<std::int64_t>(m_read->id * 7 % 16) / 32;
    const auto wait = secondsNamed ? std::chrono::milliseconds(named) : Timing().secondTry + spread;
    return Verdict{Verdict::Next::Again, wait, {}};
}

std::optional<FinishedFile> Transfer::Finish(bool hold) {
    Announce(true);
    if (m_file.Size() >= kWorthKeeping) Keep(false);  // more than whoever was in the way had
    auto result = m_file.Finish(ValidatorOf(m_file, m_head), m_mediaType, hold);
    if (const int* error = std::get_if<int>(&result)) {
        m_report.Fail(FileFailure(*error, m_file.Path()));
        return std::nullopt;
    }
    auto& finished = std::get<FinishedFile>(result);
    m_read->isHeld = static_cast<bool>(finished.metadata);
    m_report.Succeed(finished.Path());
    return std::move(finished);
}

}  // namespace tsasync::platform::reader
