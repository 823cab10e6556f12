#pragma once

#include "platform/url_reader.h"

#include <cstdint>
#include <string_view>

// The failures of a read. Each description is a sentence and names the culprit, a URL less its user or a
// path; the numbers are the URL moniker's.
namespace tsasync::platform::reader {

struct Reason {
    std::int32_t number;
    std::string_view sentence;
};

// What the reader itself finds, whatever carried the data.
namespace why {

inline constexpr Reason kMalformedUrl{kErrInvalidUrl, "Malformed URL"};
inline constexpr Reason kUnknownScheme{kErrUnknownProtocol, "Unknown scheme"};
inline constexpr Reason kFolder{kErrObjectNotFound, "A folder, not a file"};

inline constexpr Reason kNoTarget{kErrRedirectFailed, "The redirection names no target"};
inline constexpr Reason kTwoTargets{kErrRedirectFailed, "The redirection names two targets"};
inline constexpr Reason kMalformedTarget{kErrRedirectFailed, "Malformed target of a redirection"};
inline constexpr Reason kForbiddenTarget{kErrRedirectFailed, "A redirection must not lead to"};
inline constexpr Reason kUnsecuredTarget{kErrRedirectFailed,
                                         "A redirection must not lead from a secured to an unsecured server"};
inline constexpr Reason kTooManyRedirections{kErrRedirectFailed, "Too many redirections"};

inline constexpr Reason kNoConnection{kErrConnectionTimeout, "No connection in time"};
inline constexpr Reason kSilent{kErrConnectionTimeout, "The server is silent"};
inline constexpr Reason kNoAnswer{kErrDownloadFailure, "No answer of a web server"};
inline constexpr Reason kUntrustedHead{kErrDownloadFailure,
                                       "The server's answer contradicts itself or never ends"};

inline constexpr Reason kOnlyPart{kErrDownloadFailure, "The server sent a part that nobody asked for"};
inline constexpr Reason kOtherLength{kErrDownloadFailure,
                                     "The server sent another number of bytes than it said"};
inline constexpr Reason kInflated{kErrDownloadFailure, "The encoded content stands for far too much"};
inline constexpr Reason kNoEnd{kErrDownloadFailure,
                               "The connection ended, but the server did not say that this is the end"};
inline constexpr Reason kUnknownCoding{kErrDownloadFailure,
                                       "The content is encoded in a way that is not known"};
inline constexpr Reason kBrokenCoding{kErrDownloadFailure, "The encoded content is broken"};
inline constexpr Reason kCutCoding{kErrDownloadFailure, "The encoded content ends in the middle"};
inline constexpr Reason kOtherDigest{kErrDownloadFailure,
                                     "The content does not agree with the digest that the server sent"};

}  // namespace why

ReadFailure Failure(const Reason& reason, std::string_view culprit);
ReadFailure Failure(std::int32_t number, std::string_view sentence, std::string_view culprit);

// What the transport below ended with: one of its failures by its number, and `detail`, the transport's own
// words.
ReadFailure TransportFailure(std::int32_t number, std::string_view detail, std::string_view url);

// A server's answer of an HTTP status that brings no data.
ReadFailure StatusFailure(int status, std::string_view url);

}  // namespace tsasync::platform::reader
