#include "url_binding.h"

#include "download_file.h"
#include "http_fields.h"
#include "read_error.h"
#include "wide.h"

#include <wininet.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <exception>
#include <utility>
#include <vector>

namespace tsasync::platform {

namespace {

constexpr int kMaxRedirections = 20;

// In lower case, without the colon; empty when there is none.
std::u16string Scheme(std::u16string_view url) {
    const auto colon = url.find(u':');
    return colon == std::u16string_view::npos ? std::u16string() : Lower(url.substr(0, colon));
}

// Milliseconds before a second try, up to a half more, where the server names no time; and the longest that
// it may name.
constexpr std::int64_t kSecondTry = 500;
constexpr std::int64_t kLongestWait = 2000;

constexpr DWORD kFirstError = 400;  // of the HTTP statuses that come with a page about an error
constexpr DWORD kTooManyRequests = 429;

// Whatever second try follows.
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

UrlBinding::~UrlBinding() {
    if (m_binding != nullptr) m_binding->Release();
    CloseFile();
}

void UrlBinding::Start() {
    if (!m_report) return;
    m_waits = false;
    m_lastSign = GetTickCount64();
    const std::u16string scheme = Scheme(m_url);
    if (scheme.empty()) {
        Finish(Failure(kErrInvalidUrl, u"No address of a file", m_url));
    } else if (scheme != u"http" && scheme != u"https" && scheme != u"ftp" && scheme != u"file") {
        Finish(Failure(kErrUnknownProtocol, u"Unknown scheme", m_url));
    } else {
        if (m_file == INVALID_HANDLE_VALUE) m_file = CreateDownloadFile(m_folder, m_path);
        if (m_file == INVALID_HANDLE_VALUE) {
            Finish(FileFailure(GetLastError(), m_path));
        } else if (const HRESULT started = Bind(); FAILED(started) && !m_waits) {
            Finish(BindingFailure(CauseOf(started), m_url));
        }
    }
}

HRESULT UrlBinding::Bind() {
    IMoniker* moniker = nullptr;
    HRESULT result = CreateURLMonikerEx(nullptr, Wide(m_url), &moniker, URL_MK_UNIFORM);
    if (FAILED(result)) return result;
    IBindCtx* context = nullptr;
    result = CreateAsyncBindCtx(0, this, nullptr, &context);
    if (SUCCEEDED(result)) {
        IStream* stream = nullptr;
        result = moniker->BindToStorage(context, nullptr, IID_IStream, reinterpret_cast<void**>(&stream));
        if (stream != nullptr) stream->Release();
        context->Release();
    }
    moniker->Release();
    return result;
}

void UrlBinding::Abort() {
    m_report = nullptr;
    StopBinding();
    CloseFile();
    if (!m_path.empty()) DeleteFileW(Wide(m_path));
}

void UrlBinding::Fail(std::int32_t number, std::u16string_view what) {
    Finish(Failure(number, what, m_target));
    StopBinding();
}

// May be answered by OnStopBinding before it returns: whoever has something to tell does it first.
void UrlBinding::StopBinding() {
    IBinding* const binding = std::exchange(m_binding, nullptr);
    if (binding == nullptr) return;
    binding->Abort();
    binding->Release();
}

void UrlBinding::CloseFile() {
    if (m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
    m_file = INVALID_HANDLE_VALUE;
}

void UrlBinding::Tell(std::int32_t code, std::u16string text) {
    if (m_report) m_report({code, std::move(text), m_target, m_received, m_max, std::nullopt, std::nullopt});
}

void UrlBinding::Finish(std::variant<std::u16string, ReadFailure> result) {
    const Report report = std::exchange(m_report, nullptr);
    CloseFile();
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
    m_binding = binding;
    m_binding->AddRef();
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
        Fail(kErrRedirectFailed, u"A redirection that is not followed");
        return E_ABORT;
    }
    if (IsForwarded(code)) m_lastCode = static_cast<std::int32_t>(code);
    if (m_status >= kFirstError || (m_triedTwice && IsToldOnce(code))) return S_OK;
    if (code == kStatusBeginDownload || code == kStatusDownloading || code == kStatusEndDownload) {
        m_received = std::max<std::int64_t>(m_received, progress);
        m_max = std::max<std::int64_t>(m_max, progressMax);
    }
    if (IsForwarded(code)) Tell(static_cast<std::int32_t>(code), FromWide(text));
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
    if (m_file == INVALID_HANDLE_VALUE || medium->tymed != TYMED_ISTREAM) return E_ABORT;
    return Guarded([&] { return Receive(*medium->pstm); });
}

HRESULT UrlBinding::Receive(IStream& data) {
    std::vector<std::byte> buffer(std::size_t{64} << 10);
    for (;;) {
        ULONG count = 0;
        const HRESULT result = data.Read(buffer.data(), static_cast<ULONG>(buffer.size()), &count);
        if (m_digests) m_digests->Add({buffer.data(), count});
        DWORD written = 0;
        if (count > 0 &&
            (WriteFile(m_file, buffer.data(), count, &written, nullptr) == FALSE || written != count)) {
            const DWORD error = GetLastError();
            Finish(FileFailure(error, m_path));
            StopBinding();
            return E_ABORT;
        }
        if (result != S_OK || count == 0) return S_OK;  // the end, or no more for the moment
    }
}

HRESULT UrlBinding::OnObjectAvailable(REFIID, IUnknown*) { return S_OK; }

HRESULT UrlBinding::OnStopBinding(HRESULT result, LPCWSTR) {
    if (IBinding* const binding = std::exchange(m_binding, nullptr)) binding->Release();
    return Guarded([&] {
        if (auto failure = FailureOf(result)) {
            if (const auto wait = WaitBeforeSecondTry(*failure)) return TryAgainAfter(*wait);
            Finish(std::move(*failure));
        } else {
            Finish(m_path);
        }
        return S_OK;
    });
}

// A busy server and one that is just starting are asked once more.
std::optional<std::uint32_t> UrlBinding::WaitBeforeSecondTry(const ReadFailure& failure) const {
    const bool isBusy = m_status == HTTP_STATUS_SERVICE_UNAVAIL || m_status == kTooManyRequests;
    if (m_triedTwice || !m_report || !(isBusy || failure.number == kErrCannotConnect)) return std::nullopt;
    const std::int64_t own = kSecondTry + static_cast<std::int64_t>(GetTickCount64() % (kSecondTry / 2));
    const std::int64_t wait = m_status == 0 ? own : ParseRetryAfter(m_retryAfter).value_or(own);
    // An earlier try than the server wants would be in vain.
    return wait <= kLongestWait ? std::optional(static_cast<std::uint32_t>(wait)) : std::nullopt;
}

HRESULT UrlBinding::TryAgainAfter(std::uint32_t wait) {
    m_waits = m_triedTwice = true;
    m_lastCode = 0;
    m_target = m_url;
    m_status = 0;
    m_redirections = 0;
    m_received = m_max = 0;
    m_contentLength.reset();
    m_digests.reset();
    SetFilePointer(m_file, 0, nullptr, FILE_BEGIN);
    SetEndOfFile(m_file);
    m_report({0, {}, m_target, 0, 0, wait, std::nullopt});
    return S_OK;
}

// A system that does not tell what failed has told how far it came. To a secured server the connection may
// stand by then and no agreement be found on it.
HRESULT UrlBinding::CauseOf(HRESULT result) const {
    const std::u16string scheme = Scheme(m_target);
    if (scheme == u"file") return CauseOfFile(m_target, result);
    const bool isVague = result == INET_E_DOWNLOAD_FAILURE;
    if (isVague && m_lastCode == kStatusFindingResource) return INET_E_RESOURCE_NOT_FOUND;
    const bool isRefusal = (isVague && scheme != u"https") || result == INET_E_RESOURCE_NOT_FOUND;
    return isRefusal && m_lastCode == kStatusConnecting ? INET_E_CANNOT_CONNECT : result;
}

// A binding that ended well may still hold an error page or a part of the data.
std::optional<ReadFailure> UrlBinding::FailureOf(HRESULT result) {
    if (m_status != 0 && !IsSuccess(m_status)) return StatusFailure(m_status, m_target);
    if (FAILED(result)) return BindingFailure(CauseOf(result), m_target);
    LARGE_INTEGER size{};
    if (m_file == INVALID_HANDLE_VALUE || GetFileSizeEx(m_file, &size) == FALSE) {
        return FileFailure(GetLastError(), m_path);
    }
    if (m_contentLength && *m_contentLength != size.QuadPart) {
        return Failure(kErrDownloadFailure, u"The connection ended before the data did", m_target);
    }
    if (m_digests && !m_digests->Agrees()) {
        return Failure(kErrDownloadFailure, u"The data disagrees with the server's digest of it", m_target);
    }
    return std::nullopt;
}

HRESULT UrlBinding::BeginningTransaction(LPCWSTR, LPCWSTR, DWORD, LPWSTR* additional) {
    *additional = nullptr;
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
    m_contentLength.reset();
    const std::u16string length = HeaderField(head, u"content-length");
    const std::u16string encoding = Lower(HeaderField(head, u"content-encoding"));
    m_retryAfter = HeaderField(head, u"retry-after");
    m_digests.reset();
    // What the system decodes has another length, and other digests.
    if (!encoding.empty() && encoding != u"identity") return;
    m_digests.emplace(head);
    if (!length.empty()) {
        m_contentLength = std::wcstoll(Wide(length), nullptr, 10);
        m_max = *m_contentLength;
    }
}

}  // namespace tsasync::platform
