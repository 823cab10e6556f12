#include "read_error.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "automation/Text.h"
#include "platform/read_rules.h"
#include "wide.h"

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
    return HRESULT_FACILITY(result) == FACILITY_WIN32 || HRESULT_FACILITY(result) == FACILITY_INTERNET
               ? NumberOfSystemError(static_cast<DWORD>(HRESULT_CODE(result)))
               : kErrDownloadFailure;
}

}  // namespace

ReadFailure Failure(std::int32_t number, std::u16string_view what, std::u16string_view culprit) {
    return {number, std::u16string(what) + u": " + std::u16string(culprit)};
}

ReadFailure BindingFailure(HRESULT result, std::u16string_view url) {
    return Failure(NumberOf(result),
                   u"The read failed with error 0x" + Hex(static_cast<std::uint32_t>(result)), url);
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
