#include "platform/linux/naming/mime_database.h"

#include <glib.h>

#include <algorithm>
#include <charconv>

namespace tsasync::platform::mime {

namespace {

constexpr int kDefaultWeight = 50;
constexpr std::size_t kLongestExtension = 32;

bool IsLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); }

bool IsNameOf(std::string_view text, std::string_view others) {
    return !text.empty() && IsLetterOrDigit(text.front()) &&
           std::all_of(text.begin(), text.end(),
                       [&](char c) { return IsLetterOrDigit(c) || others.find(c) != others.npos; });
}

// ".ext" of the pattern "*.ext"; empty when the pattern is of another form.
std::string_view ExtensionOfPattern(std::string_view pattern) {
    if (!pattern.starts_with("*.") || pattern.size() > kLongestExtension + 1) return {};
    const std::string_view extension = pattern.substr(1);
    return IsNameOf(extension.substr(1), "-_+.") && IsLetterOrDigit(extension.back()) ? extension
                                                                                      : std::string_view();
}

struct Preferred {
    std::string extension;
    int weight = -1;
};

void OnElement(GMarkupParseContext* /*context*/, const gchar* element, const gchar** names,
               const gchar** values, gpointer data, GError** /*error*/) {
    if (std::string_view(element) != "glob") return;
    std::string_view extension;
    int weight = kDefaultWeight;
    for (; *names != nullptr; ++names, ++values) {
        const std::string_view value = *values;
        if (std::string_view(*names) == "pattern") extension = ExtensionOfPattern(value);
        if (std::string_view(*names) == "weight") {
            std::from_chars(value.data(), value.data() + value.size(), weight);
        }
    }
    auto* const preferred = static_cast<Preferred*>(data);
    if (!extension.empty() && weight > preferred->weight) *preferred = {std::string(extension), weight};
}

}  // namespace

bool IsTypeName(std::string_view type) {
    constexpr std::string_view kOthers = "!#$&-^_.+";
    const auto slash = type.find('/');
    return slash != type.npos && IsNameOf(type.substr(0, slash), kOthers) &&
           IsNameOf(type.substr(slash + 1), kOthers);
}

std::string PreferredExtension(std::string_view description) {
    constexpr GMarkupParser kParser{OnElement, nullptr, nullptr, nullptr, nullptr};
    Preferred preferred;
    GMarkupParseContext* const context =
        g_markup_parse_context_new(&kParser, G_MARKUP_DEFAULT_FLAGS, &preferred, nullptr);
    const bool whole =
        g_markup_parse_context_parse(context, description.data(), static_cast<gssize>(description.size()),
                                     nullptr) != FALSE &&
        g_markup_parse_context_end_parse(context, nullptr) != FALSE;
    g_markup_parse_context_free(context);
    return whole ? preferred.extension : std::string();
}

std::string Unalias(std::string_view aliases, std::string_view alias) {
    while (!aliases.empty()) {
        const auto end = std::min(aliases.find('\n'), aliases.size());
        const std::string_view line = aliases.substr(0, end);
        aliases.remove_prefix(std::min(end + 1, aliases.size()));
        const auto blank = line.find(' ');
        if (blank != line.npos && line.substr(0, blank) == alias) return std::string(line.substr(blank + 1));
    }
    return {};
}

}  // namespace tsasync::platform::mime
