#include "platform/windows/moniker/read_error.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "base/Text.h"
#include "platform/reader/read_rules.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <urlmon.h>
#include <wininet.h>

#include <array>

namespace tsasync::platform {

namespace {

// Errors of the system's own layers below the monikers.
std::int32_t NumberOfSystemError(DWORD error) {
    switch (error) {
        case ERROR_INTERNET_NAME_NOT_RESOLVED:
            return kErrResourceNotFound;
        case ERROR_INTERNET_CANNOT_CONNECT:
            return kErrCannotConnect;
        case ERROR_INTERNET_TIMEOUT:
            return kErrConnectionTimeout;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return kErrObjectNotFound;
        case ERROR_INTERNET_LOGIN_FAILURE:
        case ERROR_INTERNET_INCORRECT_PASSWORD:
        case ERROR_ACCESS_DENIED:
            return kErrAuthenticationRequired;
        case ERROR_INTERNET_SEC_CERT_CN_INVALID:
        case ERROR_INTERNET_SEC_CERT_DATE_INVALID:
        case ERROR_INTERNET_SEC_CERT_ERRORS:
        case ERROR_INTERNET_SEC_INVALID_CERT:
        case ERROR_INTERNET_INVALID_CA:
            return kErrInvalidCertificate;
        case ERROR_INTERNET_SECURITY_CHANNEL_ERROR:
            return kErrSecurityProblem;
        default:
            return kErrDownloadFailure;
    }
}

constexpr std::array kReadErrors{
    kErrInvalidUrl,       kErrCannotConnect,     kErrResourceNotFound,       kErrObjectNotFound,
    kErrDataNotAvailable, kErrDownloadFailure,   kErrAuthenticationRequired, kErrConnectionTimeout,
    kErrInvalidRequest,   kErrUnknownProtocol,   kErrSecurityProblem,        kErrCannotLoadData,
    kErrRedirectFailed,   kErrInvalidCertificate};

std::int32_t NumberOf(HRESULT result) {
    for (const std::int32_t number : kReadErrors) {
        if (number == result) return number;
    }
    if (result == INET_E_REDIRECT_FAILED || result == INET_E_REDIRECTING) return kErrRedirectFailed;
    if (result == MK_E_SYNTAX) return kErrInvalidUrl;
    return HRESULT_FACILITY(result) == FACILITY_WIN32
               ? NumberOfSystemError(static_cast<DWORD>(HRESULT_CODE(result)))
               : kErrDownloadFailure;
}

// A URL without its user and password; anything else as it is.
std::u16string WithoutUser(std::u16string_view culprit) {
    std::u16string text(culprit);
    const auto colon = text.find(u"://");
    if (colon == text.npos) return text;
    const auto begin = colon + 3;
    const auto at = text.substr(begin, text.find_first_of(u"/\\?#", begin) - begin).rfind(u'@');
    return at == text.npos ? text : text.erase(begin, at + 1);
}

}  // namespace

ReadFailure Failure(std::int32_t number, std::u16string_view what, std::u16string_view culprit) {
    return {number, std::u16string(what) + u": " + WithoutUser(culprit)};
}

ReadFailure BindingFailure(HRESULT result, std::u16string_view url) {
    return Failure(NumberOf(result),
                   u"The read failed with error 0x" + Hex(static_cast<std::uint32_t>(result)), url);
}

// The moniker says the same of a file that is not there and of one that must not be read.
HRESULT CauseOfFile(std::u16string_view url, HRESULT result) {
    std::array<wchar_t, 4096> path{};
    DWORD length = 0;
    const std::u16string address(url);
    if (FAILED(CoInternetParseUrl(Wide(address), PARSE_PATH_FROM_URL, 0, path.data(),
                                  static_cast<DWORD>(path.size()), &length, 0))) {
        return result;
    }
    const FileHandle file(CreateFileW(path.data(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file) return result;
    const DWORD error = GetLastError();
    const bool isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    return isMissing ? INET_E_OBJECT_NOT_FOUND : INET_E_CANNOT_LOAD_DATA;
}

bool IsSuccess(DWORD status) { return status == 200; }

ReadFailure StatusFailure(DWORD status, std::u16string_view url) {
    return Failure(FailureOfStatus(static_cast<int>(status)),
                   u"The server answered with status " + Decimal(status), url);
}

ReadFailure FileFailure(DWORD error, std::u16string_view path) {
    return Failure(kErrCannotLoadData, u"The file can't be written, error " + Decimal(error), path);
}

}  // namespace tsasync::platform
