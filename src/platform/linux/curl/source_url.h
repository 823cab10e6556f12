#pragma once

#include "platform/url_reader.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tsasync::platform::reader {

// A URL that can be read.
struct SourceUrl {
    std::string text;    // escaped, so that only visible ASCII is left; without user and password
    std::string scheme;  // http, https, ftp or file
    std::string host;    // in lower case; empty for file
    std::string origin;  // scheme, host and port
    std::string user;    // as written in the URL, decoded; both empty where it names no user
    std::string password;
    std::string path;  // file only: the path on this machine

    bool NamesUser() const { return !user.empty() || !password.empty(); }
};

// As PartialMeta names it.
std::string SourceOf(const SourceUrl& source);

// `text` as a source, or why it can't be one: kErrInvalidUrl, kErrUnknownProtocol; kErrObjectNotFound for a
// folder of a file server.
std::variant<SourceUrl, ReadFailure> ParseSourceUrl(std::string_view text);

// Where a redirection from `from` to `location` leads. Only to http and https, and never from https to http;
// the failure is kErrRedirectFailed.
std::variant<SourceUrl, ReadFailure> FollowRedirection(const SourceUrl& from, std::string_view location);

// `url` as it may stand in messages, which may go anywhere: without user and password. It need not be
// well-formed.
std::string WithoutUser(std::string_view url);

// The decoded last segment of the path, without query and fragment; may be empty.
std::string FileNameOf(const std::string& url);

}  // namespace tsasync::platform::reader
