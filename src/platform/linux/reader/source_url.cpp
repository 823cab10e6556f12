#include "platform/linux/reader/source_url.h"

#include "platform/linux/reader/read_error.h"

#include <curl/curl.h>
#include <glib.h>

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

bool IsServed(std::string_view scheme) {
    return scheme == "http" || scheme == "https" || scheme == "ftp" || scheme == "file";
}

std::variant<SourceUrl, ReadFailure> Describe(CURLU* url, std::string_view asked) {
    SourceUrl source;
    source.scheme = Part(url, CURLUPART_SCHEME).value_or("");
    if (!IsServed(source.scheme)) return Failure(kErrUnknownProtocol, "Unknown scheme", asked);
    source.user = Part(url, CURLUPART_USER, CURLU_URLDECODE).value_or("");
    source.password = Part(url, CURLUPART_PASSWORD, CURLU_URLDECODE).value_or("");
    // The text goes into messages, which may go anywhere.
    curl_url_set(url, CURLUPART_USER, nullptr, 0);
    curl_url_set(url, CURLUPART_PASSWORD, nullptr, 0);
    const auto text = Part(url, CURLUPART_URL);
    const auto path = Part(url, CURLUPART_PATH, source.scheme == "file" ? CURLU_URLDECODE : 0);
    if (!text || !path) return Failure(kErrInvalidUrl, "Malformed URL", asked);
    source.text = *text;
    if (source.scheme == "file") {
        source.path = *path;
        source.origin = "file:";
        return source;
    }
    source.host = Part(url, CURLUPART_HOST).value_or("");
    for (char& c : source.host) c = g_ascii_tolower(c);
    source.origin = source.scheme + "://" + source.host + ":" +
                    Part(url, CURLUPART_PORT, CURLU_DEFAULT_PORT).value_or("");
    if (source.host.empty()) return Failure(kErrInvalidUrl, "Malformed URL", asked);
    return source;
}

}  // namespace

std::variant<SourceUrl, ReadFailure> ParseSourceUrl(std::string_view text) {
    const UrlHandle url(curl_url());
    const std::string escaped = Escape(text);
    const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, escaped.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK) return Failure(kErrInvalidUrl, "Malformed URL", text);
    return Describe(url.get(), text);
}

std::variant<SourceUrl, ReadFailure> FollowRedirection(const SourceUrl& from, std::string_view location) {
    const auto failure = [&](std::string_view why) { return Failure(kErrRedirectFailed, why, location); };
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

std::string FileNameOf(const std::string& url) {
    const UrlHandle parts(curl_url());
    if (curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
        return {};
    const std::string path = Part(parts.get(), CURLUPART_PATH, CURLU_URLDECODE).value_or("");
    return path.substr(path.rfind('/') + 1);
}

}  // namespace tsasync::platform::reader
