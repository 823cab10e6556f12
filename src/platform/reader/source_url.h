#pragma once

#include "platform/url_reader.h"

#include <string>
#include <string_view>
#include <variant>

namespace tsasync::platform::reader {

// A URL that can be read.
struct SourceUrl {
    std::string text;    // escaped, so that only visible ASCII is left; without user and password
    std::string scheme;  // http, https, ftp or file
    std::string host;    // in lower case and ASCII; empty for file
    std::string origin;  // scheme, host and port
    std::string user;    // as written in the URL, decoded; both empty where it names no user
    std::string password;
    std::string path;  // file only: the decoded path on this machine; empty when the URL names another one

    bool NamesUser() const { return !user.empty() || !password.empty(); }
    bool IsWeb() const { return scheme == "http" || scheme == "https"; }
    // The text with user and password.
    std::string TextWithUser() const;
};

// As PartialMeta names it.
std::string SourceOf(const SourceUrl& source);

// `text` (UTF-8) as a source, or why it can't be one: kErrInvalidUrl, kErrUnknownProtocol; kErrObjectNotFound
// for a folder of a file server. What would have to be repaired first is none: nobody could say for sure
// which host it means.
std::variant<SourceUrl, ReadFailure> ParseSourceUrl(std::string_view text);

// What `reference` in a document of `base` means, by RFC 3986; fails likewise.
std::variant<SourceUrl, ReadFailure> ResolveReference(const SourceUrl& base, std::string_view reference);

// `url` as it may stand in messages, which may go anywhere: without user and password. It need not be
// well-formed.
std::string WithoutUser(std::string_view url);

// The decoded last segment of the path, without query and fragment; may be empty.
std::string LastSegmentOf(std::string_view url);

}  // namespace tsasync::platform::reader
