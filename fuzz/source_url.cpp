// A URL, and where a redirection to it leads. Whatever they say, what comes of them can be asked for and
// told.
#include "platform/reader/redirections.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace tsasync::platform;
using namespace tsasync::platform::reader;

namespace {

void Require(bool holds) {
    if (!holds) std::abort();
}

bool IsVisible(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7F; });
}

void Check(const SourceUrl& source) {
    Require(IsVisible(source.text) && IsVisible(source.origin));
    if (source.scheme == "file") {
        Require(source.host.empty() && (source.path.empty() || source.path.starts_with('/')));
        Require(source.path.find('\0') == source.path.npos);
        return;
    }
    Require(source.scheme == "http" || source.scheme == "https" || source.scheme == "ftp");
    Require(!source.host.empty() && source.host.find_first_of("/?#@\\") == source.host.npos);
    Require(source.origin.starts_with(source.scheme + "://" + source.host + ":"));
    Require(source.text.starts_with(source.scheme + "://"));
    // The text names the same place, and nobody.
    const auto again = ParseSourceUrl(source.text);
    const auto* same = std::get_if<SourceUrl>(&again);
    Require(same != nullptr && same->origin == source.origin && !same->NamesUser());
    Require(WithoutUser(source.text) == source.text);
    const auto named = ParseSourceUrl(source.TextWithUser());
    Require(std::get<SourceUrl>(named).user == source.user &&
            std::get<SourceUrl>(named).origin == source.origin);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto parsed = ParseSourceUrl(text);
    if (const auto* source = std::get_if<SourceUrl>(&parsed)) Check(*source);
    static const auto from = std::get<SourceUrl>(ParseSourceUrl("https://secured.example/folder/file?query"));
    Redirections way(from);
    if (const auto failure = way.Follow(text)) {
        Require(failure->number == kErrRedirectFailed);
    } else {
        Check(way.Current());
        Require(way.Current().scheme == "https");
    }
    Require(WithoutUser(text).size() <= text.size());
    return 0;
}
