#include "platform/linux/curl/read_error.h"

#include <glib.h>

namespace tsasync::platform::reader {

namespace {

std::int32_t NumberOf(CURLcode code) {
    switch (code) {
        case CURLE_URL_MALFORMAT:
            return kErrInvalidUrl;
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
            return kErrResourceNotFound;
        case CURLE_PROXY:
        case CURLE_COULDNT_CONNECT:
            return kErrCannotConnect;
        case CURLE_OPERATION_TIMEDOUT:
        case CURLE_FTP_ACCEPT_TIMEOUT:
            return kErrConnectionTimeout;
        case CURLE_REMOTE_FILE_NOT_FOUND:
        case CURLE_FTP_COULDNT_RETR_FILE:
        case CURLE_REMOTE_ACCESS_DENIED:  // no such folder by ftp, or not for us, like the two before
        case CURLE_FILE_COULDNT_READ_FILE:
            return kErrObjectNotFound;
        case CURLE_LOGIN_DENIED:
            return kErrAuthenticationRequired;
        case CURLE_TOO_MANY_REDIRECTS:
            return kErrRedirectFailed;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
            return kErrInvalidCertificate;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CIPHER:
        case CURLE_USE_SSL_FAILED:
            return kErrSecurityProblem;
        default:
            return kErrDownloadFailure;
    }
}

}  // namespace

ReadFailure TransportFailure(CURLcode code, std::string_view detail, std::string_view url) {
    return TransportFailure(NumberOf(code), detail.empty() ? curl_easy_strerror(code) : detail, url);
}

ReadFailure FileFailure(int systemError, std::string_view path) {
    return Failure(kErrCannotLoadData, g_strerror(systemError), path);
}

}  // namespace tsasync::platform::reader
