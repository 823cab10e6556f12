#include "platform/windows/moniker/url_binding.h"

#include "platform/windows/base/wide.h"
#include "platform/windows/moniker/download_file.h"
#include "platform/windows/moniker/http_fields.h"
#include "platform/windows/moniker/read_error.h"
#include "platform/windows/moniker/timing.h"

#include <wininet.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <exception>
#include <utility>
#include <vector>

namespace tsasync::platform {

namespace {

using host::ComPtr;

constexpr int kMaxRedirections = 20;

// In lower case, without the colon; empty when there is none.
std::u16string Scheme(std::u16string_view url) {
    const auto colon = url.find(u':');
    return colon == std::u16string_view::npos ? std::u16string() : Lower(url.substr(0, colon));
}

// Of an ftp URL: whether it names a folder, for which there is a listing at best.
bool NamesFolder(std::u16string_view url) {
    url = url.substr(0, url.find(u'#'));
    const auto path = url.find(u'/', url.find(u"://") + 3);
    return path == url.npos || url.ends_with(u'/') || Lower(url).ends_with(u";type=d");
}

constexpr DWORD kTooManyRequests = 429;
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

bool IsForwarded(ULONG code) {
    constexpr std::array kCodes{
        kStatusFindingResource,        kStatusConnecting,         kStatusRedirecting,
        kStatusBeginDownload,          kStatusDownloading,        kStatusEndDownload,
        kStatusUsingCachedCopy,        kStatusSendingRequest,     kStatusMimeTypeAvailable,
        kStatusCacheFileNameAvailable, kStatusBeginSyncOperation, kStatusEndSyncOperation};
    return std::find(kCodes.begin(), kCodes.end(), static_cast<std::int32_t>(code)) != kCodes.end();
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

UrlBinding::UrlBinding(std::u16string url, std::u16string folder, Report report)
    : m_url(std::move(url)), m_folder(std::move(folder)), m_target(m_url), m_report(std::move(report)) {}

void UrlBinding::Start() {
    if (!m_report) return;
    m_waits = false;
    m_lastSign = GetTickCount64();
    const std::u16string scheme = Scheme(m_url);
    if (scheme.empty()) {
        Finish(Failure(kErrInvalidUrl, u"No address of a file", m_url));
    } else if (scheme != u"http" && scheme != u"https" && scheme != u"ftp" && scheme != u"file") {
        Finish(Failure(kErrUnknownProtocol, u"Unknown scheme", m_url));
    } else if (scheme == u"ftp" && NamesFolder(m_url)) {
        Finish(Failure(kErrObjectNotFound, u"A folder, not a file", m_url));
    } else {
        if (!m_file) m_file = CreateDownloadFile(m_folder, m_path);
        if (!m_file) {
            Finish(FileFailure(GetLastError(), m_path));
        } else if (const HRESULT started = Bind(); FAILED(started) && !m_waits) {
            Finish(BindingFailure(CauseOf(started), m_url));
        }
    }
}

HRESULT UrlBinding::Bind() {
    ComPtr<IMoniker> moniker;
    HRESULT result = CreateURLMonikerEx(nullptr, Wide(m_url), moniker.Put(), URL_MK_UNIFORM);
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
    m_file.Reset();
    if (!m_path.empty()) DeleteFileW(Wide(m_path));
}

void UrlBinding::Fail(ReadFailure failure) {
    Finish(std::move(failure));
    StopBinding();
}

bool UrlBinding::IsSilent() const {
    const std::uint64_t limit = m_lastCode == kStatusConnecting ? Timing().connect : Timing().silence;
    return GetTickCount64() - m_lastSign > limit;
}

void UrlBinding::FailSilent() {
    if (m_refusal) return StopBinding();  // the rest of what is refused anyway may stay away
    Fail(Failure(kErrConnectionTimeout,
                 m_lastCode == kStatusConnecting ? u"No connection in time" : u"The server is silent",
                 m_target));
}

// May be answered by OnStopBinding before it returns: whoever has something to tell does it first.
void UrlBinding::StopBinding() {
    const ComPtr<IBinding> binding = std::exchange(m_binding, {});
    if (binding) binding->Abort();
}

void UrlBinding::Tell(std::int32_t code, std::u16string text) {
    if (m_report) m_report({code, std::move(text), m_target, m_received, m_max, std::nullopt, std::nullopt});
}

void UrlBinding::Finish(std::variant<std::u16string, ReadFailure> result) {
    const Report report = std::exchange(m_report, nullptr);
    m_file.Reset();
    if (!report) return;
    if (std::holds_alternative<ReadFailure>(result) && !m_path.empty()) DeleteFileW(Wide(m_path));
    report({0, {}, m_target, m_received, m_max, std::nullopt, std::move(result)});
}

HRESULT UrlBinding::QueryInterface(REFIID id, void** object) {
    if (id == IID_IUnknown || id == IID_IBindStatusCallback) {
        *object = static_cast<IBindStatusCallback*>(this);
    } else if (id == IID_IHttpNegotiate) {
        *object = static_cast<IHttpNegotiate*>(this);
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

HRESULT UrlBinding::OnProgress(ULONG progress, ULONG progressMax, ULONG code, LPCWSTR text) {
    return Guarded([&] { return Progress(progress, progressMax, code, text); });
}

HRESULT UrlBinding::Progress(ULONG progress, ULONG progressMax, ULONG code, LPCWSTR text) {
    m_lastSign = GetTickCount64();
    if (code == kStatusRedirecting && !MayFollow(FromWide(text))) {
        Fail(Failure(kErrRedirectFailed, u"A redirection that is not followed", m_target));
        return E_ABORT;
    }
    if (IsForwarded(code)) m_lastCode = static_cast<std::int32_t>(code);
    if (m_refusal) return S_OK;
    if (code == kStatusBeginDownload || code == kStatusDownloading || code == kStatusEndDownload) {
        m_received = std::max<std::int64_t>(m_received, progress);
        m_max = std::max<std::int64_t>(m_max, progressMax);
    }
    if (IsForwarded(code) && (!IsToldOnce(code) || m_told.insert(m_lastCode).second))
        Tell(m_lastCode, FromWide(text));
    return S_OK;
}

// Never to a file, never from a protected connection to an open one.
bool UrlBinding::MayFollow(std::u16string_view url) {
    const std::u16string scheme = Scheme(url);
    const bool relative = url.find(u"://") == std::u16string_view::npos;
    const bool allowed =
        relative || scheme == u"https" || (scheme == u"http" && Scheme(m_target) != u"https");
    if (!allowed || ++m_redirections > kMaxRedirections) return false;
    if (!relative) m_target = url;
    return true;
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
    return S_OK;
}

HRESULT UrlBinding::OnDataAvailable(DWORD, DWORD, FORMATETC*, STGMEDIUM* medium) {
    m_lastSign = GetTickCount64();
    if (!m_file || medium->tymed != TYMED_ISTREAM) return E_ABORT;
    return Guarded([&] { return Receive(*medium->pstm); });
}

HRESULT UrlBinding::Receive(IStream& data) {
    std::vector<std::byte> buffer(std::size_t{64} << 10);
    for (;;) {
        ULONG count = 0;
        const HRESULT result = data.Read(buffer.data(), static_cast<ULONG>(buffer.size()), &count);
        const bool isLast = result != S_OK || count == 0;  // or no more for the moment
        if (m_refusal) {
            m_ignored += count;
            if (m_ignored > kMaxIgnored) {
                StopBinding();
                return E_ABORT;
            }
            count = 0;
        } else if (m_head.contentLength && !m_head.isChunked) {
            // What is more than announced is not part of the file.
            count = static_cast<ULONG>(std::min<std::int64_t>(count, *m_head.contentLength - m_written));
        }
        if (m_digests) m_digests->Add({buffer.data(), count});
        m_written += count;
        DWORD written = 0;
        if (count > 0 &&
            (WriteFile(m_file.Get(), buffer.data(), count, &written, nullptr) == FALSE || written != count)) {
            Fail(FileFailure(GetLastError(), m_path));
            return E_ABORT;
        }
        if (isLast) return S_OK;
    }
}

HRESULT UrlBinding::OnObjectAvailable(REFIID, IUnknown*) { return S_OK; }

HRESULT UrlBinding::OnStopBinding(HRESULT result, LPCWSTR) {
    m_binding.Reset();
    return Guarded([&] { return End(result); });
}

HRESULT UrlBinding::End(HRESULT result) {
    if (!m_report || m_waits) return S_OK;
    if (const auto target = OwnRedirection()) {
        if (!MayFollow(*target)) {
            Finish(Failure(kErrRedirectFailed, u"A redirection that is not followed", m_target));
            return S_OK;
        }
        m_url = *target;
        Tell(kStatusRedirecting, m_url);
        BeginAgain(0);
        return S_OK;
    }
    auto failure = FailureOf(result);
    if (!failure) {
        Finish(m_path);
    } else if (const auto wait = WaitBeforeSecondTry(*failure)) {
        m_triedTwice = true;
        m_redirections = 0;
        BeginAgain(*wait);
    } else {
        Finish(std::move(*failure));
    }
    return S_OK;
}

// The target of a redirection that the system takes for an answer, as older ones do with 308.
std::optional<std::u16string> UrlBinding::OwnRedirection() const {
    constexpr DWORD kPermanentRedirect = 308;
    if (m_status != kPermanentRedirect || !m_head.isSound || m_head.location.empty()) return std::nullopt;
    std::array<wchar_t, INTERNET_MAX_URL_LENGTH> target{};
    DWORD length = 0;
    const HRESULT combined = CoInternetCombineUrl(Wide(m_target), Wide(m_head.location), 0, target.data(),
                                                  static_cast<DWORD>(target.size()), &length, 0);
    return SUCCEEDED(combined) ? std::optional(FromWide(target.data())) : std::nullopt;
}

// A busy server and one that is just starting are asked once more.
std::optional<std::uint32_t> UrlBinding::WaitBeforeSecondTry(const ReadFailure& failure) const {
    const bool isBusy = m_status == HTTP_STATUS_SERVICE_UNAVAIL || m_status == kTooManyRequests;
    if (m_triedTwice || !(isBusy || failure.number == kErrCannotConnect)) return std::nullopt;
    const auto named = isBusy ? ParseRetryAfter(m_head.retryAfter, UnixTime()) : std::nullopt;
    if (!named)
        return Timing().secondTry + static_cast<std::uint32_t>(GetTickCount64()) % (Timing().secondTry / 2);
    // An earlier try than the server wants would be in vain.
    if (*named > Timing().longestWait / 1000) return std::nullopt;
    return static_cast<std::uint32_t>(*named * 1000);
}

void UrlBinding::BeginAgain(std::uint32_t wait) {
    m_waits = true;
    m_lastCode = 0;
    m_target = m_url;
    m_status = 0;
    m_received = m_max = m_written = m_ignored = 0;
    m_head = {};
    m_refusal.reset();
    m_digests.reset();
    SetFilePointer(m_file.Get(), 0, nullptr, FILE_BEGIN);
    SetEndOfFile(m_file.Get());
    m_report({0, {}, m_target, 0, 0, wait, std::nullopt});
}

// A system that does not tell what failed has told how far it came. To a secured server the connection may
// stand by then and no agreement be found on it.
HRESULT UrlBinding::CauseOf(HRESULT result) const {
    const std::u16string scheme = Scheme(m_target);
    if (scheme == u"file") return CauseOfFile(m_target, result);
    // The server had the data, says its answer; some systems say otherwise when it breaks.
    if (result == INET_E_DATA_NOT_AVAILABLE && IsSuccess(m_status)) return INET_E_DOWNLOAD_FAILURE;
    const bool isVague = result == INET_E_DOWNLOAD_FAILURE;
    if (isVague && m_lastCode == kStatusFindingResource) return INET_E_RESOURCE_NOT_FOUND;
    const bool isRefusal = (isVague && scheme != u"https") || result == INET_E_RESOURCE_NOT_FOUND;
    return isRefusal && m_lastCode == kStatusConnecting ? INET_E_CANNOT_CONNECT : result;
}

// A binding that ended well may still hold an error page or a part of the data.
std::optional<ReadFailure> UrlBinding::FailureOf(HRESULT result) {
    if (m_refusal) return m_refusal;
    if (FAILED(result)) return BindingFailure(CauseOf(result), m_target);
    const bool isWeb = Scheme(m_target).starts_with(u"http");
    if (isWeb && m_status == 0) return Failure(kErrDownloadFailure, u"No answer of a web server", m_target);
    if (m_head.contentLength && *m_head.contentLength != m_written) {
        return Failure(kErrDownloadFailure, u"The connection ended before the data did", m_target);
    }
    // The system ends a head that broke off, as if the rest were missing on purpose.
    if (isWeb && m_written == 0 && !m_head.contentLength && !m_head.isChunked) {
        return Failure(kErrDownloadFailure, u"The connection ended before any data", m_target);
    }
    if (m_digests && !m_digests->Agrees()) {
        return Failure(kErrDownloadFailure, u"The data disagrees with the server's digest of it", m_target);
    }
    return std::nullopt;
}

// Data that the system decodes could not be held against its length and digests.
HRESULT UrlBinding::BeginningTransaction(LPCWSTR, LPCWSTR, DWORD, LPWSTR* additional) {
    constexpr std::wstring_view kFields = L"Accept-Encoding: identity\r\n";
    *additional = static_cast<LPWSTR>(CoTaskMemAlloc((kFields.size() + 1) * sizeof(wchar_t)));
    if (*additional == nullptr) return E_OUTOFMEMORY;
    *std::copy(kFields.begin(), kFields.end(), *additional) = L'\0';
    return S_OK;
}

HRESULT UrlBinding::OnResponse(DWORD status, LPCWSTR headers, LPCWSTR, LPWSTR* additional) {
    if (additional != nullptr) *additional = nullptr;
    m_lastSign = GetTickCount64();
    return Guarded([&] {
        ReadHead(status, FromWide(headers));
        return S_OK;
    });
}

void UrlBinding::ReadHead(DWORD status, std::u16string_view head) {
    m_status = status;
    m_head = ParseHead(head);
    m_refusal = Refusal(status);
    m_digests.reset();
    // What the system decodes has another length, and other digests.
    if (!m_head.contentEncoding.empty()) {
        m_head.contentLength.reset();
        return;
    }
    m_digests.emplace(m_head);
    if (m_head.contentLength) m_max = *m_head.contentLength;
}

std::optional<ReadFailure> UrlBinding::Refusal(DWORD status) const {
    if (!m_head.isSound) {
        return Failure(kErrDownloadFailure, u"The server's answer contradicts itself or never ends",
                       m_target);
    }
    if (status != 0 && !IsSuccess(status)) return StatusFailure(status, m_target);
    const std::u16string& coding = m_head.contentEncoding;
    if (!coding.empty() && coding != u"gzip" && coding != u"deflate") {
        return Failure(kErrDownloadFailure, u"The content is encoded in a way that is not known", m_target);
    }
    return std::nullopt;
}

}  // namespace tsasync::platform
