#include "platform/linux/curl/transfer.h"

#include "platform/linux/curl/read_error.h"
#include "platform/linux/curl/timing.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::size_t kMaxIgnored = 64 * 1024;  // of an unwanted body, to keep the connection usable
constexpr int kMostUnusable = 3;                // connections in a row on which something came unasked

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
                   KeptConnections& connections, Outbox& outbox)
    : m_read(std::move(read)),
      m_way(std::move(source)),
      m_file(std::move(folder), SourceOf(m_way.Asked())),
      m_report(m_read, outbox),
      m_connections(connections),
      m_finder(Timing().longestSniff) {
    m_report.Status(kStatusFindingResource, Source().host);
}

Transfer::~Transfer() { Keep(true); }

CURL* Transfer::Attach(EasyHandle easy, const ProxyChoice& proxy) {
    m_easy = std::move(easy);
    m_request = {};
    m_request.askedAt = m_request.lastByte = Clock::now();
    CURL* const handle = m_easy.get();
    if (m_way.Asked().IsWeb() && !std::exchange(m_lookedForEarlier, true)) m_file.FindEarlier();
    curl_easy_setopt(handle, CURLOPT_PRIVATE, this);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, m_request.error.data());
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnData);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, OnOpenSocket);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, KeptConnections::Close);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, &m_connections);
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, OnRequest);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(handle, CURLOPT_PROXY, proxy ? proxy->c_str() : nullptr);
    curl_easy_setopt(handle, CURLOPT_FRESH_CONNECT, std::exchange(m_connectAnew, false) ? 1L : 0L);
    curl_easy_setopt(handle, CURLOPT_FORBID_REUSE, 0L);
    SetUrl();
    SetFields();
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
    m_request.fields.reset();
    for (const std::string& field : RequestFields(KeptOf(m_file)))
        m_request.fields.reset(curl_slist_append(m_request.fields.release(), field.c_str()));
    curl_easy_setopt(m_easy.get(), CURLOPT_HTTPHEADER, m_request.fields.get());
}

curl_socket_t Transfer::OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address) {
    auto* transfer = static_cast<Transfer*>(self);
    transfer->m_request.connectionIsNew = true;
    if (purpose == CURLSOCKTYPE_IPCXN && !std::exchange(transfer->m_reportedConnecting, true)) {
        transfer->m_report.Status(kStatusConnecting, AddressText(*address));
    }
    return transfer->m_connections.Open(*address);
}

// The last moment before the request is sent. What has come on a kept connection by now is no answer to it.
int Transfer::OnRequest(void* self, char* address, char*, int port, int ownPort) {
    auto* transfer = static_cast<Transfer*>(self);
    CURL* const easy = transfer->m_easy.get();
    const bool isNew = std::exchange(transfer->m_request.connectionIsNew, false);
    if (!isNew && transfer->m_connections.HasUnasked(easy, address, port, ownPort)) {
        transfer->m_connectAnew = true;
        curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
        return CURL_PREREQFUNC_ABORT;
    }
    if (!std::exchange(transfer->m_reportedConnecting, true))
        transfer->m_report.Status(kStatusConnecting, address);
    if (!std::exchange(transfer->m_reportedRequest, true))
        transfer->m_report.Status(kStatusSendingRequest, address);
    return CURL_PREREQFUNC_OK;
}

std::size_t Transfer::OnHeader(char* line, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    const std::string_view text(line, size * count);
    transfer->m_request.lastByte = Clock::now();
    // A file server's answers come here as well.
    if (transfer->m_request.head.Status() == 0 && !text.starts_with("HTTP/")) return text.size();
    if (!transfer->m_request.head.AddLine(text)) {
        transfer->Stop(Failure(why::kUntrustedHead, transfer->Source().text));
        return 0;
    }
    const bool decide = !transfer->m_request.answer && transfer->m_request.head.Complete();
    return !decide || transfer->TakeHead() ? text.size() : 0;
}

std::size_t Transfer::OnData(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    return transfer->TakeData({bytes, size * count}) ? size * count : 0;
}

bool Transfer::Stop(ReadFailure failure) {
    m_request.stopped = std::move(failure);
    return false;
}

// The head of a final HTTP response is complete. Here and below false ends the request.
bool Transfer::TakeHead() {
    const int status = m_request.head.Status();
    if (status == 401 || status == 407) return true;  // perhaps libcurl answers it with the user's name
    m_request.head.End();
    const bool isEncoded = !m_request.head.contentCodings.empty();
    if (isEncoded) m_request.decoder = ContentDecoder::For(m_request.head.contentCodings, Timing());
    m_request.answer =
        reader::Judge(m_request.head, KeptOf(m_file), !isEncoded || m_request.decoder, Source().text);
    if (m_request.answer->meaning == Answer::Meaning::Content) m_file.StartOver();
    if (IsSaved()) return BeginSaving();
    Ignore();
    // The content of an answer that brings what nobody wants may be as long as the file.
    return status != 200 && status != 206;
}

// The rest of the body is not waited for, but one that comes at once leaves the connection to the next
// request.
void Transfer::Ignore() {
    if (!m_request.ignoredUntil) m_request.ignoredUntil = m_request.lastByte + Timing().unwanted;
}

// Only then: a connection that goes on, or carries other transfers too, must hold nothing of this one.
bool Transfer::EndsWithConnection() const {
    long version = 0;
    curl_easy_getinfo(m_easy.get(), CURLINFO_HTTP_VERSION, &version);
    const bool one = version == CURL_HTTP_VERSION_1_0 || version == CURL_HTTP_VERSION_1_1;
    return one && !m_request.head.contentLength && !m_request.head.isChunked;
}

bool Transfer::BeginSaving() {
    if (EndsWithConnection()) m_request.farewell.Await(m_easy.get());
    const auto& earlier = m_file.Earlier();
    m_finder.Begin(m_request.head.mediaType, earlier ? earlier->mediaType : "", m_file.Beginning(kSniffSize),
                   m_request.lastByte);
    Announce(false);
    ReportBytes(m_request.lastByte);
    return true;
}

// A file server sends no head.
bool Transfer::TakeFirstData() {
    curl_off_t length = -1;
    curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    m_file.StartOver();
    m_request.answer.emplace();
    m_request.answer->meaning = Answer::Meaning::Content;
    if (length >= 0) m_request.answer->total = length;
    return BeginSaving();
}

bool Transfer::TakeData(std::string_view bytes) {
    m_request.lastByte = Clock::now();
    if (!m_request.answer && m_request.head.Status() == 0) {
        if (Source().IsWeb()) return Stop(Failure(why::kUntrustedHead, Source().text));
        if (!TakeFirstData()) return false;
    }
    if (!m_request.answer) Ignore();  // libcurl has no name to answer with
    if (!IsSaved()) {
        m_request.ignored += bytes.size();
        return m_request.ignored <= kMaxIgnored;
    }
    if (!m_request.decoder) return Save(bytes);
    if (m_request.decoder->Decode(bytes, [this](std::string_view decoded) { return Save(decoded); }))
        return true;
    if (m_request.stopped) return false;
    const bool isTooMuch = m_request.decoder->IsTooMuch();
    return Stop(Failure(isTooMuch ? why::kInflated : why::kBrokenCoding, Source().text));
}

bool Transfer::Save(std::string_view bytes) {
    if (const int error = m_file.Write(bytes)) return Stop(FileFailure(error, m_file.Path()));
    if (!m_report.HasBegun()) {
        m_finder.Add(bytes, m_request.lastByte);
        Announce(false);
    }
    if (m_file.Size() >= kWorthKeeping && !std::exchange(m_request.triedToKeep, true)) Keep(false);
    ReportBytes(m_request.lastByte);
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

void Transfer::ReportBytes(Clock::time_point now) {
    m_report.Bytes(m_file.Size(), m_request.answer->total.value_or(0), now);
}

void Transfer::Keep(bool last) {
    if (IsSaved() && m_way.Asked().IsWeb())
        KeepIfUseful(m_file, m_request.head, m_mediaType, m_request.answer->total.value_or(0), last);
}

Clock::time_point Transfer::Tick(Clock::time_point now) {
    if (AnnouncedAt() <= now) Announce(true);
    m_report.SendHeld(now);
    return std::min({m_report.Due(), AnnouncedAt(), OverAt()});
}

Clock::time_point Transfer::OverAt() const {
    const auto silent = m_request.lastByte + Timing().silence;
    if (IsSaved()) return silent;
    return std::min(silent, m_request.ignoredUntil.value_or(m_request.askedAt + Timing().head));
}

Verdict Transfer::Ended(CURLcode code, bool othersAreServed) {
    Verdict verdict = Judge(code, othersAreServed);
    if (verdict.next == Verdict::Next::Failed) {
        Keep(true);
        m_report.Fail(verdict.failure);
    }
    return verdict;
}

Verdict Transfer::Judge(CURLcode code, bool othersAreServed) {
    // A new connection, too, has been kept by the time that libcurl answers a 401 on it.
    if (m_connectAnew && ++m_unusable < kMostUnusable) return {Verdict::Next::Again, {}, {}};
    if (m_connectAnew) return Verdict::Fail(Failure(why::kUntrustedHead, Source().text));
    m_unusable = 0;
    if (m_request.stopped) return Verdict::Fail(*m_request.stopped);
    if (!m_request.answer && !Source().IsWeb() && code == CURLE_OK) TakeFirstData();  // an empty file
    if (IsSaved()) return JudgeSaved(code);
    // The body of a response that is none of ours may end as it likes.
    if (m_request.head.Complete()) return JudgeUnsaved();
    if (code == CURLE_COULDNT_CONNECT) {
        long systemError = 0;
        curl_easy_getinfo(m_easy.get(), CURLINFO_OS_ERRNO, &systemError);
        // A server that serves nobody else of us either may be just starting, or not be there.
        if (systemError == ECONNREFUSED && (othersAreServed || !m_patience.IsTried())) {
            if (const auto later = TurnedAway(std::nullopt)) return *later;
        }
    }
    if (ProxyWantsUser(m_easy.get(), code)) code = CURLE_LOGIN_DENIED;
    // libcurl's word for a line that is too long for it.
    if (code == CURLE_OUT_OF_MEMORY) return Verdict::Fail(Failure(why::kUntrustedHead, Source().text));
    return Verdict::Fail(TransportFailure(code == CURLE_OK ? CURLE_WEIRD_SERVER_REPLY : code,
                                          m_request.error.data(), Source().text));
}

Verdict Transfer::JudgeSaved(CURLcode code) {
    if (code != CURLE_OK) return Verdict::Fail(TransportFailure(code, m_request.error.data(), Source().text));
    const BodyEnd end{m_file.Size(), !m_request.farewell.IsMissing(),
                      !m_request.decoder || m_request.decoder->AtEnd()};
    if (auto failure = reader::Judge(*m_request.answer, end, Source().text))
        return Verdict::Fail(std::move(*failure));
    if (!m_request.answer->digests.Any()) return {};
    if (const int error = m_file.Write({})) return Verdict::Fail(FileFailure(error, m_file.Path()));
    m_check.emplace(m_file.Data(), m_request.answer->digests);
    return {Verdict::Next::Check, {}, {}};
}

std::optional<Verdict> Transfer::CheckStep() {
    if (m_check->Step()) return std::nullopt;
    Verdict verdict;
    if (const int error = m_check->Error()) {
        verdict = Verdict::Fail(FileFailure(error, m_file.Path()));
    } else if (!m_check->Agrees()) {
        m_file.StartOver();
        m_request.answer.reset();  // nothing of it is worth keeping
        verdict = Verdict::Fail(Failure(why::kOtherDigest, Source().text));
    } else {
        return verdict;
    }
    m_report.Fail(verdict.failure);
    return verdict;
}

Verdict Transfer::JudgeUnsaved() {
    // What asked for the user's name did not get one.
    if (!m_request.answer)
        m_request.answer = reader::Judge(m_request.head, KeptOf(m_file), true, Source().text);
    switch (m_request.answer->meaning) {
        case Answer::Meaning::Moved:
            return Redirect();
        case Answer::Meaning::Mismatch:
            m_file.StartOver();
            return {Verdict::Next::Again, {}, {}};
        case Answer::Meaning::Unchanged:
            m_mediaType = KeptTypeOf(m_file, Source().text);
            ReportBytes(m_request.lastByte);
            m_report.Begin(m_mediaType);
            return {};
        case Answer::Meaning::Busy:
            if (const auto later = TurnedAway(ParseRetryAfter(m_request.head.retryAfter, std::time(nullptr))))
                return *later;
            break;
        default:
            break;
    }
    return Verdict::Fail(m_request.answer->failure);
}

Verdict Transfer::Redirect() {
    const std::string host = Source().host;
    if (auto failure = m_way.Follow(m_request.head)) return Verdict::Fail(std::move(*failure));
    m_report.Status(kStatusRedirecting, Source().text);
    m_file.Follow(SourceOf(Source()));
    m_lookedForEarlier = false;
    return {host == Source().host ? Verdict::Next::Again : Verdict::Next::Elsewhere, {}, {}};
}

std::optional<Verdict> Transfer::TurnedAway(std::optional<std::int64_t> secondsNamed) {
    const auto pause = m_patience.Next(secondsNamed, m_read->id);
    if (!pause) return std::nullopt;
    return Verdict{Verdict::Next::TurnedAway, *pause, {}};
}

std::optional<FinishedFile> Transfer::Finish(bool hold) {
    Announce(true);
    if (m_file.Size() >= kWorthKeeping) Keep(false);  // more than whoever was in the way had
    auto result = m_file.Finish(ValidatorOf(m_file, m_request.head), m_mediaType, hold);
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
