#include "platform/windows/moniker/read_error.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "base/Text.h"
#include "base/Utf8.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <urlmon.h>
#include <wininet.h>

#include <array>
#include <string>

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

}  // namespace

ReadFailure BindingFailure(HRESULT result, std::string_view url) {
    return reader::TransportFailure(NumberOf(result),
                                    "error 0x" + ToUtf8(Hex(static_cast<std::uint32_t>(result))), url);
}

// The moniker says the same of a file that is not there and of one that must not be read.
HRESULT CauseOfFile(std::string_view url, HRESULT result) {
    std::array<wchar_t, 4096> path{};
    DWORD length = 0;
    const std::u16string address = FromUtf8(url);
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

ReadFailure FileFailure(DWORD error, std::u16string_view path) {
    return reader::Failure(kErrCannotLoadData, "The file can't be written, error " + std::to_string(error),
                           ToUtf8(path));
}

}  // namespace tsasync::platform
