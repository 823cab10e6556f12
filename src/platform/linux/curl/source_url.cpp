#include "platform/linux/curl/source_url.h"

#include "platform/linux/curl/read_error.h"
#include "platform/reader/partial_meta.h"

#include <curl/curl.h>
#include <glib.h>

#include <algorithm>
#include <memory>

namespace tsasync::platform::reader {

namespace {

struct FreeUrl {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using UrlHandle = std::unique_ptr<CURLU, FreeUrl>;

std::optional<std::string> Part(CURLU* url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return std::nullopt;
    std::string result(text);
    curl_free(text);
    return result;
}

// Blanks around a URL don't count; inside it whatever is not visible ASCII is escaped, byte by byte.
std::string Escape(std::string_view text) {
    const auto outside = [](char c) { return static_cast<unsigned char>(c) <= 0x20; };
    while (!text.empty() && outside(text.front())) text.remove_prefix(1);
    while (!text.empty() && outside(text.back())) text.remove_suffix(1);
    // Bytes above ASCII in the host are a name in another script and stay.
    const std::size_t slashes = text.find("//");
    const std::size_t path = slashes == text.npos ? 0 : text.find_first_of("/?#", slashes + 2);
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte <= 0x20 || byte == 0x7F || byte == '"' || byte == '<' || byte == '>' ||
            (byte > 0x7F && i >= path)) {
            constexpr const char* kDigits = "0123456789ABCDEF";
            escaped.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
        } else {
            escaped.push_back(text[i]);
        }
    }
    return escaped;
}

std::string Lower(std::string text) {
    for (char& c : text) c = g_ascii_tolower(c);
    return text;
}

bool IsServed(std::string_view scheme) {
    return scheme == "http" || scheme == "https" || scheme == "ftp" || scheme == "file";
}

// Whether libcurl, asked for this by ftp, would list a folder.
bool IsFolder(const std::string& text) {
    const UrlHandle url(
        curl_url());  // as libcurl will read it, without the dots that are left in the first one
    curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0);
    std::string path = Part(url.get(), CURLUPART_PATH).value_or("");
    if (const auto query = Part(url.get(), CURLUPART_QUERY)) path += "?" + *query;
    if (const std::size_t type = path.find(";type="); type != path.npos) {
        if (path.size() > type + 6 && g_ascii_tolower(path[type + 6]) == 'd') return true;
        path.resize(type);
    }
    // The escaped slashes count as well.
    return path.empty() || path.ends_with('/') || Lower(path).ends_with("%2f");
}

std::variant<SourceUrl, ReadFailure> Describe(CURLU* url, std::string_view asked) {
    SourceUrl source;
    source.scheme = Part(url, CURLUPART_SCHEME).value_or("");
    if (!IsServed(source.scheme)) return Failure(kErrUnknownProtocol, "Unknown scheme", WithoutUser(asked));
    source.user = Part(url, CURLUPART_USER, CURLU_URLDECODE).value_or("");
    source.password = Part(url, CURLUPART_PASSWORD, CURLU_URLDECODE).value_or("");
    // The text goes into messages, which may go anywhere.
    curl_url_set(url, CURLUPART_USER, nullptr, 0);
    curl_url_set(url, CURLUPART_PASSWORD, nullptr, 0);
    const auto text = Part(url, CURLUPART_URL);
    const auto path = Part(url, CURLUPART_PATH, source.scheme == "file" ? CURLU_URLDECODE : 0);
    if (!text || !path) return Failure(kErrInvalidUrl, "Malformed URL", WithoutUser(asked));
    source.text = *text;
    if (source.scheme == "file") {
        // libcurl takes one that depends on where the process is.
        if (!path->starts_with('/')) return Failure(kErrInvalidUrl, "Malformed URL", asked);
        source.path = *path;
        source.origin = "file:";
        return source;
    }
    if (source.scheme == "ftp" && IsFolder(source.text))
        return Failure(kErrObjectNotFound, "A folder is no file", source.text);
    source.host = Lower(Part(url, CURLUPART_HOST).value_or(""));
    source.origin = source.scheme + "://" + source.host + ":" +
                    Part(url, CURLUPART_PORT, CURLU_DEFAULT_PORT).value_or("");
    // libcurl decodes the host, and refuses but this one of the characters that no host has.
    if (source.host.empty() || source.host.find('\x7F') != source.host.npos)
        return Failure(kErrInvalidUrl, "Malformed URL", WithoutUser(asked));
    return source;
}

}  // namespace

std::string SourceOf(const SourceUrl& source) { return SourceOf(source.text, source.user, source.password); }

std::variant<SourceUrl, ReadFailure> ParseSourceUrl(std::string_view text) {
    const UrlHandle url(curl_url());
    const std::string escaped = Escape(text);
    const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, escaped.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK) return Failure(kErrInvalidUrl, "Malformed URL", WithoutUser(text));
    return Describe(url.get(), text);
}

std::variant<SourceUrl, ReadFailure> FollowRedirection(const SourceUrl& from, std::string_view location) {
    const auto failure = [&](std::string_view why) {
        return Failure(kErrRedirectFailed, why, WithoutUser(location));
    };
    if (location.empty()) return Failure(kErrRedirectFailed, "The redirection names no target", from.text);
    const UrlHandle url(curl_url());
    const std::string escaped = Escape(location);
    if (curl_url_set(url.get(), CURLUPART_URL, from.text.c_str(), 0) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_URL, escaped.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        return failure("Malformed target of a redirection");
    }
    auto target = Describe(url.get(), location);
    const auto* source = std::get_if<SourceUrl>(&target);
    if (source == nullptr || !source->scheme.starts_with("http"))
        return failure("A redirection must not lead to");
    if (from.scheme == "https" && source->scheme != "https") {
        return failure("A redirection must not lead from a secured to an unsecured server");
    }
    return target;
}

std::string WithoutUser(std::string_view url) {
    // libcurl takes any number of slashes for the two.
    std::size_t start = url.starts_with("//") ? 0 : url.find(":/");
    start = start == url.npos ? 0 : std::min(url.find_first_not_of('/', url.find('/', start)), url.size());
    const std::size_t end = std::min(url.find_first_of("/?#", start), url.size());
    const std::size_t at = url.substr(0, end).rfind('@');
    if (at == url.npos || at < start) return std::string(url);
    return std::string(url.substr(0, start)) + std::string(url.substr(at + 1));
}

std::string FileNameOf(const std::string& url) {
    const UrlHandle parts(curl_url());
    if (curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
        return {};
    const std::string path = Part(parts.get(), CURLUPART_PATH, CURLU_URLDECODE).value_or("");
    return path.substr(path.rfind('/') + 1);
}

}  // namespace tsasync::platform::reader
