#include "platform/reader/failure.h"

#include "base/Utf8.h"
#include "platform/reader/source_url.h"

#include <algorithm>
#include <array>
#include <string>

namespace tsasync::platform::reader {

namespace {

struct Status {
    int code;
    std::int32_t number;
    std::string_view phrase;
};

// The phrases are ours: a server's could say anything.
constexpr std::array kStatuses{
    Status{204, kErrDataNotAvailable, "No Content"},
    Status{205, kErrDataNotAvailable, "Reset Content"},
    Status{304, kErrDataNotAvailable, "Not Modified"},
    Status{400, kErrInvalidRequest, "Bad Request"},
    Status{401, kErrAuthenticationRequired, "Unauthorized"},
    Status{403, kErrDownloadFailure, "Forbidden"},
    Status{404, kErrObjectNotFound, "Not Found"},
    Status{407, kErrAuthenticationRequired, "Proxy Authentication Required"},
    Status{408, kErrConnectionTimeout, "Request Timeout"},
    Status{410, kErrObjectNotFound, "Gone"},
    Status{429, kErrDownloadFailure, "Too Many Requests"},
    Status{500, kErrDownloadFailure, "Internal Server Error"},
    Status{502, kErrDownloadFailure, "Bad Gateway"},
    Status{503, kErrDownloadFailure, "Service Unavailable"},
    Status{504, kErrConnectionTimeout, "Gateway Timeout"},
};

// What ends a transfer below HTTP. The rest is a connection that broke.
constexpr std::array kTransportFailures{
    why::kMalformedUrl,
    why::kSilent,
    why::kUnknownScheme,
    Reason{kErrCannotConnect, "The server takes no connection"},
    Reason{kErrResourceNotFound, "No such host"},
    Reason{kErrObjectNotFound, "No such file"},
    Reason{kErrAuthenticationRequired, "The server asks for another user or password"},
    Reason{kErrSecurityProblem, "No secured connection could be agreed on"},
    Reason{kErrInvalidCertificate, "The server's certificate is not trusted"},
    Reason{kErrCannotLoadData, "The file can't be read"},
    Reason{kErrRedirectFailed, "The redirection leads nowhere"},
};

}  // namespace

ReadFailure Failure(std::int32_t number, std::string_view sentence, std::string_view culprit) {
    return {number, FromUtf8(std::string(sentence) + ": " + WithoutUser(culprit))};
}

ReadFailure Failure(const Reason& reason, std::string_view culprit) {
    return Failure(reason.number, reason.sentence, culprit);
}

ReadFailure TransportFailure(std::int32_t number, std::string_view detail, std::string_view url) {
    const auto* known = std::find_if(kTransportFailures.begin(), kTransportFailures.end(),
                                     [number](const Reason& one) { return one.number == number; });
    const std::string sentence(known == kTransportFailures.end() ? "The connection broke" : known->sentence);
    return Failure(number, sentence + " (" + std::string(detail) + ")", url);
}

ReadFailure StatusFailure(int status, std::string_view url) {
    std::string sentence = "The server answered " + std::to_string(status);
    const auto* known = std::find_if(kStatuses.begin(), kStatuses.end(),
                                     [status](const Status& one) { return one.code == status; });
    if (known != kStatuses.end())
        return Failure(known->number, sentence.append(" ").append(known->phrase), url);
    return Failure(status >= 300 && status < 400 ? kErrRedirectFailed : kErrDownloadFailure, sentence, url);
}

}  // namespace tsasync::platform::reader
