#include "platform/windows/moniker/url_binding.h"

#include "base/Utf8.h"
#include "platform/windows/base/wide.h"
#include "platform/windows/moniker/read_error.h"

#include <wininet.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <exception>
#include <limits>
#include <utility>
#include <vector>

namespace tsasync::platform {

namespace why = reader::why;
using reader::Failure;

namespace {

using host::ComPtr;

constexpr std::int64_t kMaxIgnored = 64 << 10;  // bytes of an unwanted body, to keep the connection usable
constexpr std::int64_t kTicksPerSecond = 10'000'000;  // of the system's file times
constexpr std::int64_t kTicksTo1970 = 116'444'736'000'000'000;

// Seconds since 1970.
std::int64_t UnixTime() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t ticks = std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
    return (static_cast<std::int64_t>(ticks) - kTicksTo1970) / kTicksPerSecond;
}

// Whatever redirection or second try follows.
bool IsToldOnce(ULONG code) {
    return code == kStatusFindingResource || code == kStatusConnecting || code == kStatusSendingRequest;
}

// The others are told when the reader itself knows.
bool IsForwarded(ULONG code) {
    constexpr std::array kCodes{kStatusFindingResource,        kStatusConnecting,
                                kStatusUsingCachedCopy,        kStatusSendingRequest,
                                kStatusCacheFileNameAvailable, kStatusBeginSyncOperation,
                                kStatusEndSyncOperation};
    return std::find(kCodes.begin(), kCodes.end(), static_cast<std::int32_t>(code)) != kCodes.end();
}

// The system undoes one of these; x-gzip and several codings it does not.
bool CanDecode(const std::vector<std::string>& codings) {
    return codings.empty() || (codings.size() == 1 && (codings[0] == "gzip" || codings[0] == "deflate"));
}

// Monikers know no exceptions; what fails here fails for want of memory.
HRESULT Guarded(const auto& operation) {
    try {
        return operation();
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

UrlBinding::UrlBinding(std::uint64_t read, std::u16string url, Folder folder,
                       std::function<bool()> othersAreServed, Report report)
    : m_read(read),
      m_url(std::move(url)),
      m_folder(std::move(folder)),
      m_shownUrl(FromUtf8(reader::WithoutUser(ToUtf8(m_url)))),
      m_target(m_url),
      m_othersAreServed(std::move(othersAreServed)),
      m_report(std::move(report)) {}

void UrlBinding::Start() {
    if (!m_report) return;
    m_waits = false;
    m_lastSign = GetTickCount64();
    if (m_check) return CheckOn();
    m_askedAt = ConnectionGate::Clock::now();
    if (!m_way) {
        auto source = reader::ParseSourceUrl(ToUtf8(m_url));
        if (auto* failure = std::get_if<ReadFailure>(&source)) return Finish(std::move(*failure));
        m_way.emplace(std::get<reader::SourceUrl>(std::move(source)));
        if (const auto* refusal = std::get_if<reader::PrivateFolders::Refusal>(&m_folder))
            return Finish(FileFailure(static_cast<DWORD>(refusal->error), FromUtf8(refusal->path)));
        m_file.emplace(std::get<std::shared_ptr<reader::PrivateFolder>>(m_folder), SourceOf(Source()));
    }
    if (Source().IsWeb() && !std::exchange(m_lookedForEarlier, true)) m_file->FindEarlier();
    if (!Source().IsWeb()) m_answer.emplace().meaning = Meaning::Content;
    if (const HRESULT started = Bind(); FAILED(started) && !m_waits)
        Finish(BindingFailure(CauseOf(started), Source().text));
}

HRESULT UrlBinding::Bind() {
    // What names a file of this machine is the system's to read.
    const std::u16string url = Source().scheme == "file" ? m_url : FromUtf8(Source().TextWithUser());
    ComPtr<IMoniker> moniker;
    HRESULT result = CreateURLMonikerEx(nullptr, Wide(url), moniker.Put(), URL_MK_UNIFORM);
    if (FAILED(result)) return result;
    ComPtr<IBindCtx> context;
    result = CreateAsyncBindCtx(0, this, nullptr, context.Put());
    if (FAILED(result)) return result;
    ComPtr<IStream> stream;
    return moniker->BindToStorage(context.Get(), nullptr, IID_IStream, stream.PutVoid());
}

void UrlBinding::Abort() {
    m_report = nullptr;
    StopBinding();
    Keep(true);
    m_check.reset();
    m_file.reset();
    if (auto finished = TakeFinished()) finished->Dropped();
}

void UrlBinding::Fail(ReadFailure failure) {
    Finish(std::move(failure));
    StopBinding();
}

bool UrlBinding::IsOver() const {
    if (m_waits) return false;
    const auto since = [now = GetTickCount64()](std::uint64_t tick) {
        return std::chrono::milliseconds(now - tick);
    };
    if (IsUnwanted() && since(m_answeredAt) > Timing().unwanted) return true;
    const bool isHeadLate = !m_answer && ConnectionGate::Clock::now() - m_askedAt > Timing().head;
    const bool isConnecting = m_lastCode == kStatusConnecting;
    return isHeadLate || since(m_lastSign) > (isConnecting ? Timing().connect : Timing().silence);
}

void UrlBinding::EndOver() {
    if (IsUnwanted() && m_binding) return StopBinding();
    // It is stopped already, and the system has not told its end.
    if (IsUnwanted()) return void(Guarded([&] { return End(E_ABORT); }));
    Fail(Failure(m_lastCode == kStatusConnecting ? why::kNoConnection : why::kSilent, Source().text));
}

// May be answered by OnStopBinding before it returns: whoever has something to tell does it first.
void UrlBinding::StopBinding() {
    const ComPtr<IBinding> binding = std::exchange(m_binding, {});
    if (binding) binding->Abort();
}

void UrlBinding::Tell(std::int32_t code, std::u16string text) {
    if (!m_report) return;
    m_report(
        {code, std::move(text), m_target, m_file ? m_file->Size() : 0, Total(), std::nullopt, std::nullopt});
}

// What the next read can use stays; it may begin when the end is told.
void UrlBinding::Finish(std::variant<std::u16string, ReadFailure> result) {
    const Report report = std::exchange(m_report, nullptr);
    const std::int64_t size = m_file ? m_file->Size() : 0;
    Keep(true);
    m_check.reset();
    m_file.reset();
    if (report) report({0, {}, m_target, size, Total(), std::nullopt, std::move(result)});
}

HRESULT UrlBinding::QueryInterface(REFIID id, void** object) {
    if (id == IID_IUnknown || id == IID_IBindStatusCallback) {
        *object = static_cast<IBindStatusCallback*>(this);
    } else if (id == IID_IHttpNegotiate) {
        *object = static_cast<IHttpNegotiate*>(this);
    } else if (id == IID_IBindCallbackRedirect) {
        *object = static_cast<IBindCallbackRedirect*>(this);
    } else {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG UrlBinding::AddRef() { return ++m_references; }

ULONG UrlBinding::Release() {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

HRESULT UrlBinding::OnStartBinding(DWORD, IBinding* binding) {
    if (!m_report) return E_ABORT;
    m_binding = ComPtr(binding);
    return S_OK;
}

HRESULT UrlBinding::GetPriority(LONG* priority) {
    *priority = THREAD_PRIORITY_NORMAL;
    return S_OK;
}

HRESULT UrlBinding::OnLowResource(DWORD) { return S_OK; }

HRESULT UrlBinding::OnProgress(ULONG, ULONG progressMax, ULONG code, LPCWSTR text) {
    return Guarded([&] { return Progress(progressMax, code, text); });
}

HRESULT UrlBinding::Progress(ULONG progressMax, ULONG code, LPCWSTR text) {
    m_lastSign = GetTickCount64();
    // A system that follows redirections without asking is kept from it: Redirect.
    if (code == kStatusRedirecting) {
        ReadHead(HTTP_STATUS_REDIRECT, {});
        m_head.location = ToUtf8(FromWide(text));
        StopBinding();
        return E_ABORT;
    }
    // A web server's answer says itself how much it brings.
    const bool tellsLength = code == kStatusBeginDownload || code == kStatusDownloading;
    if (tellsLength && !Source().IsWeb() && m_answer && progressMax > 0)
        m_answer->total = std::max<std::int64_t>(m_answer->total.value_or(0), progressMax);
    if (!IsForwarded(code)) return S_OK;
    m_lastCode = static_cast<std::int32_t>(code);
    const bool isWanted = !m_answer || IsSaved() || Means(Meaning::Unchanged);
    if (isWanted && (!IsToldOnce(code) || m_told.insert(m_lastCode).second)) Tell(m_lastCode, FromWide(text));
    return S_OK;
}

// No dialog of the system's: nobody may be there to answer it. No cache, neither the system's nor a proxy's:
// it would give what a digest has shown to be wrong once more.
HRESULT UrlBinding::GetBindInfo(DWORD* flags, BINDINFO* info) {
    *flags = BINDF_ASYNCHRONOUS | BINDF_ASYNCSTORAGE | BINDF_PULLDATA | BINDF_NO_UI | BINDF_SILENTOPERATION |
             BINDF_GETNEWESTVERSION | BINDF_NOWRITECACHE | BINDF_PRAGMA_NO_CACHE;
    const ULONG size = info->cbSize;
    std::fill_n(reinterpret_cast<std::byte*>(info), size, std::byte{});
    info->cbSize = size;
    info->dwBindVerb = BINDVERB_GET;
    info->dwOptions = BINDINFO_OPTIONS_DISABLEAUTOREDIRECTS;  // the reader is asked: Redirect
    return S_OK;
}

HRESULT UrlBinding::OnDataAvailable(DWORD, DWORD, FORMATETC*, STGMEDIUM* medium) {
    m_lastSign = GetTickCount64();
    if (!m_file || medium->tymed != TYMED_ISTREAM) return E_ABORT;
    return Guarded([&] { return Receive(*medium->pstm); });
}

HRESULT UrlBinding::Receive(IStream& data) {
    std::string buffer(std::size_t{64} << 10, '\0');
    for (;;) {
        ULONG count = 0;
        const HRESULT result = data.Read(buffer.data(), static_cast<ULONG>(buffer.size()), &count);
        const bool isLast = result != S_OK || count == 0;  // or no more for the moment
        if (!IsSaved()) {
            m_ignored += count;
            if (m_ignored > kMaxIgnored) {
                StopBinding();
                return E_ABORT;
            }
        } else if (m_encoded && IsInflated(m_file->Size() + count, *m_encoded, Timing())) {
            Fail(Failure(why::kInflated, Source().text));
            return E_ABORT;
        } else if (!Save(Wanted({buffer.data(), count}))) {
            return E_ABORT;
        }
        if (isLast) return S_OK;
    }
}

// What is more than announced is not part of the file.
std::string_view UrlBinding::Wanted(std::string_view bytes) const {
    if (!m_head.contentLength || m_head.isChunked) return bytes;
    return bytes.substr(0, static_cast<std::size_t>(*m_head.contentLength - m_received));
}

bool UrlBinding::Save(std::string_view bytes) {
    if (bytes.empty()) return true;
    if (const int error = m_file->Write(bytes)) {
        Fail(FileFailure(static_cast<DWORD>(error), FromUtf8(m_file->Path())));
        return false;
    }
    m_received += static_cast<std::int64_t>(bytes.size());
    Announce(bytes);
    if (m_file->Size() >= reader::kWorthKeeping && !std::exchange(m_triedToKeep, true)) Keep(false);
    return true;
}

void UrlBinding::Keep(bool last) {
    if (m_file && IsSaved() && Source().IsWeb()) KeepIfUseful(*m_file, m_head, m_mediaType, Total(), last);
}

// The media type is told as soon as enough of the content is there to know it, then the bytes.
void UrlBinding::Announce(std::string_view bytes) {
    if (!m_begun) {
        m_finder.Add(bytes, std::chrono::steady_clock::now());
        if (m_finder.IsSure()) Begin();
    }
    if (m_begun) Tell(kStatusDownloading, m_shownUrl);
}

void UrlBinding::Begin() {
    if (std::exchange(m_begun, true)) return;
    const std::string& url = Source().text;
    m_mediaType = Means(Meaning::Unchanged) ? KeptTypeOf(*m_file, url) : m_finder.TypeOf(url);
    Tell(kStatusMimeTypeAvailable, FromUtf8(m_mediaType));
    Tell(kStatusBeginDownload, m_shownUrl);
}

void UrlBinding::Tick() {
    if (m_begun || !IsSaved() || std::chrono::steady_clock::now() < m_finder.Due()) return;
    Begin();
    Tell(kStatusDownloading, m_shownUrl);
}

HRESULT UrlBinding::OnObjectAvailable(REFIID, IUnknown*) { return S_OK; }

HRESULT UrlBinding::OnStopBinding(HRESULT result, LPCWSTR) {
    m_binding.Reset();
    return Guarded([&] { return End(result); });
}

HRESULT UrlBinding::End(HRESULT result) {
    if (!m_report || m_waits) return S_OK;
    if (Means(Meaning::Moved)) {
        Follow();
    } else if (Means(Meaning::Mismatch)) {
        m_file->StartOver();
        BeginAgain({});
    } else if (auto failure = FailureOf(result)) {
        if (const auto pause = PauseAfter(*failure)) {
            BeginAgain({*pause, true, m_askedAt});
        } else {
            Finish(std::move(*failure));
        }
    } else if (Means(Meaning::Unchanged) || !m_answer->digests.Any()) {
        Succeed();
    } else if (const int error = m_file->Write({})) {
        Finish(FileFailure(static_cast<DWORD>(error), FromUtf8(m_file->Path())));
    } else {
        m_check.emplace(m_file->Data(), m_answer->digests);
        CheckOn();
    }
    return S_OK;
}

void UrlBinding::Follow() {
    if (auto failure = m_way->Follow(m_head)) return Finish(std::move(*failure));
    m_target = FromUtf8(Source().text);
    Tell(kStatusRedirecting, m_target);
    m_file->Follow(SourceOf(Source()));
    m_lookedForEarlier = false;
    BeginAgain({});
}

// In parts, between which the thread has time for everything else.
void UrlBinding::CheckOn() {
    constexpr int kSlices = 4;
    for (int slice = 0; slice < kSlices; ++slice) {
        if (m_check->Step()) continue;
        if (const int error = m_check->Error())
            return Finish(FileFailure(static_cast<DWORD>(error), FromUtf8(m_file->Path())));
        if (m_check->Agrees()) return Succeed();
        m_file->StartOver();
        return Finish(Failure(why::kOtherDigest, Source().text));
    }
    Wait({});
}

void UrlBinding::Succeed() {
    Begin();
    Tell(kStatusDownloading, m_shownUrl);
    Tell(kStatusEndDownload, m_shownUrl);
    if (m_file->Size() >= reader::kWorthKeeping) Keep(false);  // more than whoever was in the way had
    auto result = m_file->Finish(ValidatorOf(*m_file, m_head), m_mediaType, true);
    if (const int* error = std::get_if<int>(&result))
        return Finish(FileFailure(static_cast<DWORD>(*error), FromUtf8(m_file->Path())));
    m_finished = std::get<reader::FinishedFile>(std::move(result));
    Finish(FromUtf8(m_finished->Path()));
}

// Of a read that its server has turned away: until it is to ask again.
std::optional<std::chrono::milliseconds> UrlBinding::PauseAfter(const ReadFailure& failure) {
    if (Means(Meaning::Busy))
        return m_patience.Next(reader::ParseRetryAfter(m_head.retryAfter, UnixTime()), m_read);
    // A server that serves nobody else of us either may be just starting, or not be there.
    const bool mayComeBack =
        failure.number == kErrCannotConnect && (!m_patience.IsTried() || m_othersAreServed());
    return mayComeBack ? m_patience.Next(std::nullopt, m_read) : std::nullopt;
}

void UrlBinding::BeginAgain(BindingNotice::Again again) {
    m_lastCode = 0;
    m_received = m_ignored = 0;
    m_head = {};
    m_answer.reset();
    m_triedToKeep = false;
    Wait(again);
}

void UrlBinding::Wait(BindingNotice::Again again) {
    m_waits = true;
    m_report({0, {}, m_target, 0, 0, again, std::nullopt});
}

// A system that does not tell what failed has told how far it came. To a secured server the connection may
// stand by then and no agreement be found on it.
HRESULT UrlBinding::CauseOf(HRESULT result) const {
    const std::string& scheme = Source().scheme;
    if (scheme == "file") return CauseOfFile(ToUtf8(m_url), result);
    // The server had the data, says its answer; some systems say otherwise when it breaks.
    if (result == INET_E_DATA_NOT_AVAILABLE && Source().IsWeb() && IsSaved()) return INET_E_DOWNLOAD_FAILURE;
    const bool isVague = result == INET_E_DOWNLOAD_FAILURE;
    if (isVague && m_lastCode == kStatusFindingResource) return INET_E_RESOURCE_NOT_FOUND;
    const bool isRefusal = (isVague && scheme != "https") || result == INET_E_RESOURCE_NOT_FOUND;
    return isRefusal && m_lastCode == kStatusConnecting ? INET_E_CANNOT_CONNECT : result;
}

// A binding that ended well may still hold an error page or a part of the data.
std::optional<ReadFailure> UrlBinding::FailureOf(HRESULT result) {
    if (Means(Meaning::Unchanged)) return std::nullopt;
    if (m_answer && !IsSaved()) return m_answer->failure;
    if (FAILED(result)) return BindingFailure(CauseOf(result), Source().text);
    if (!m_answer) return Failure(why::kNoAnswer, Source().text);
    if (m_head.contentLength && *m_head.contentLength != m_received)
        return Failure(why::kOtherLength, Source().text);
    if (Source().scheme == "file") return std::nullopt;
    // Of a length that a file server tells, the system hands on 32 bits.
    if (!Source().IsWeb() && m_file->Size() > std::numeric_limits<ULONG>::max()) return std::nullopt;
    // The system ends a head that broke off, as if the rest were missing on purpose.
    const bool isMeant = !Source().IsWeb() || m_received > 0 || m_head.contentLength || m_head.isChunked;
    return reader::Judge(*m_answer, {m_file->Size(), isMeant}, Source().text);
}

HRESULT UrlBinding::BeginningTransaction(LPCWSTR, LPCWSTR, DWORD, LPWSTR* additional) {
    return Guarded([&] {
        std::string fields;
        for (const std::string& field : RequestFields(m_file ? KeptOf(*m_file) : reader::Kept()))
            fields.append(field).append("\r\n");
        const std::u16string wide = FromUtf8(fields);
        *additional = static_cast<LPWSTR>(CoTaskMemAlloc((wide.size() + 1) * sizeof(wchar_t)));
        if (*additional == nullptr) return E_OUTOFMEMORY;
        *std::copy(wide.begin(), wide.end(), *additional) = L'\0';
        return S_OK;
    });
}

HRESULT UrlBinding::OnResponse(DWORD status, LPCWSTR headers, LPCWSTR, LPWSTR* additional) {
    if (additional != nullptr) *additional = nullptr;
    m_lastSign = GetTickCount64();
    return Guarded([&] {
        ReadHead(status, ToUtf8(FromWide(headers)));
        return S_OK;
    });
}

// Redirections are the reader's own: the system ends the binding, and what it was told is followed at its
// end.
HRESULT UrlBinding::Redirect(LPCWSTR location, VARIANT_BOOL* cancel) {
    *cancel = VARIANT_TRUE;
    m_lastSign = GetTickCount64();
    return Guarded([&] {
        ReadHead(HTTP_STATUS_REDIRECT, RawHead());
        // The system may keep the head to itself until the binding has ended.
        if (m_head.location.empty()) m_head.location = ToUtf8(FromWide(location));
        return S_OK;
    });
}

// The head of the answer as the system has it at the moment; may be empty.
std::string UrlBinding::RawHead() const {
    ComPtr<IWinInetHttpInfo> info;
    if (!m_binding || FAILED(m_binding->QueryInterface(IID_IWinInetHttpInfo, info.PutVoid()))) return {};
    std::string head(reader::ResponseHead::kMaxSize + 1, '\0');
    auto size = static_cast<DWORD>(head.size());
    const bool isTold =
        info->QueryInfo(HTTP_QUERY_RAW_HEADERS_CRLF, head.data(), &size, nullptr, nullptr) == S_OK;
    head.resize(isTold ? size : 0);
    return head;
}

void UrlBinding::ReadHead(DWORD status, std::string_view head) {
    if (!m_file) return;  // it is over
    m_head = {};
    // A system may keep the first line to itself.
    if (!head.starts_with("HTTP/")) m_head.AddLine("HTTP/1.1 " + std::to_string(status));
    const bool isSound = m_head.AddLines(head);
    m_answeredAt = GetTickCount64();
    m_answer = reader::Judge(m_head, KeptOf(*m_file), CanDecode(m_head.contentCodings), Source().text);
    if (!isSound) {
        m_answer->meaning = Meaning::Refusal;
        m_answer->failure = Failure(why::kUntrustedHead, Source().text);
    }
    if (IsSaved()) BeginSaving();
}

void UrlBinding::BeginSaving() {
    if (Means(Meaning::Content)) m_file->StartOver();
    // What the system decodes has another length.
    m_encoded.reset();
    if (!m_head.contentCodings.empty()) m_encoded = std::exchange(m_head.contentLength, std::nullopt);
    m_received = 0;
    const auto& earlier = m_file->Earlier();
    m_finder.Begin(m_head.mediaType, earlier ? earlier->mediaType : "", m_file->Beginning(reader::kSniffSize),
                   std::chrono::steady_clock::now());
}

}  // namespace tsasync::platform
