#include "text.h"

#include <glib.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

namespace assetfetch {

namespace {

struct GFree {
    void operator()(char* text) const { g_free(text); }
    void operator()(GUri* uri) const { g_uri_unref(uri); }
    void operator()(GError* error) const { g_error_free(error); }
};
template <typename T>
using GOwned = std::unique_ptr<T, GFree>;

int CharColumns(gunichar c) {
    if (g_unichar_iszerowidth(c)) return 0;
    return g_unichar_iswide(c) ? 2 : 1;
}

struct Cell {
    std::string_view bytes;
    int columns;
};

std::vector<Cell> Cells(std::string_view text) {
    std::vector<Cell> cells;
    for (const char* p = text.data(); p < text.data() + text.size();) {
        const char* next = g_utf8_next_char(p);
        cells.push_back({{p, static_cast<std::size_t>(next - p)}, CharColumns(g_utf8_get_char(p))});
        p = next;
    }
    return cells;
}

// The most cells from `first` on, in steps of `step`, that fit into `columns`, in the order of the text.
template <typename Iterator>
std::string Take(Iterator first, Iterator last, int columns, bool reversed) {
    std::string taken;
    for (; first != last && first->columns <= columns; ++first) {
        columns -= first->columns;
        if (reversed)
            taken.insert(0, first->bytes);
        else
            taken.append(first->bytes);
    }
    return taken;
}

GOwned<GUri> ParseUrl(const std::string& url, GOwned<GError>* error) {
    GError* raw = nullptr;
    GOwned<GUri> uri(g_uri_parse(
        url.c_str(), static_cast<GUriFlags>(G_URI_FLAGS_PARSE_RELAXED | G_URI_FLAGS_ENCODED), &raw));
    const GOwned<GError> owned(raw);
    if (error != nullptr) *error = GOwned<GError>(raw != nullptr ? g_error_copy(raw) : nullptr);
    return uri;
}

}  // namespace

std::string Printable(std::string_view text) {
    const GOwned<char> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    std::string result;
    for (const Cell& cell : Cells(valid.get())) {
        const gunichar c = g_utf8_get_char(cell.bytes.data());
        const GUnicodeType type = g_unichar_type(c);
        const bool steers = type == G_UNICODE_CONTROL || type == G_UNICODE_FORMAT ||
                            type == G_UNICODE_LINE_SEPARATOR || type == G_UNICODE_PARAGRAPH_SEPARATOR;
        result += steers ? std::string_view("?") : cell.bytes;
    }
    return result;
}

int Columns(std::string_view text) {
    int columns = 0;
    for (const Cell& cell : Cells(text)) columns += cell.columns;
    return columns;
}

std::string Fit(std::string_view text, int columns) {
    if (columns <= 0) return {};
    const int needed = Columns(text);
    std::string result(text);
    if (needed > columns) {
        const std::vector<Cell> cells = Cells(text);
        const int tail = (columns - 1) / 3;
        result = Take(cells.begin(), cells.end(), columns - 1 - tail, false) + "…" +
                 Take(cells.rbegin(), cells.rend(), tail, true);
    }
    // A wide character that did not fit leaves a column.
    result.append(static_cast<std::size_t>(columns - Columns(result)), ' ');
    return result;
}

std::string SizeText(std::int64_t bytes) {
    static constexpr std::array kUnits = {"kB", "MB", "GB", "TB"};
    if (bytes < 1000) return std::to_string(bytes) + " B";
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    for (; value >= 999.95 && unit + 1 < kUnits.size(); ++unit) value /= 1000;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", value, kUnits[unit]);
    return text.data();
}

std::string DurationText(std::int64_t seconds) {
    std::array<char, 48> text{};
    const long long s = seconds;
    if (s < 3600)
        std::snprintf(text.data(), text.size(), "%lld:%02lld", s / 60, s % 60);
    else
        std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
    return text.data();
}

std::string TimeOfDayText(double date) {
    const auto seconds = std::lround((date - std::floor(date)) * 86400) % 86400;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%02ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return text.data();
}

std::string DisplayName(const std::string& url) {
    const GOwned<GUri> uri = ParseUrl(url, nullptr);
    const std::string path = uri ? g_uri_get_path(uri.get()) : "";
    const std::string last = path.substr(path.rfind('/') + 1);
    const GOwned<char> decoded(g_uri_unescape_string(last.c_str(), nullptr));
    const std::string name = Printable(decoded ? decoded.get() : last);
    return name.empty() ? Printable(url) : name;
}

std::string UrlFault(const std::string& url) {
    if (url.empty()) return "the URL is empty";
    if (!g_utf8_validate(url.data(), static_cast<gssize>(url.size()), nullptr)) return "the URL is not UTF-8";
    if (Printable(url) != url) return "malformed URL: it holds a control character";
    const GOwned<char> scheme(g_uri_parse_scheme(url.c_str()));
    if (!scheme) return "malformed URL: it does not begin with a scheme such as https:";
    const std::string_view known[] = {"http", "https", "ftp", "file"};
    const GOwned<char> folded(g_ascii_strdown(scheme.get(), -1));
    bool is_known = false;
    for (const std::string_view candidate : known) is_known = is_known || candidate == folded.get();
    if (!is_known)
        return std::string("unknown scheme \"") + scheme.get() + "\" (http, https, ftp and file are known)";
    GOwned<GError> error;
    const GOwned<GUri> uri = ParseUrl(url, &error);
    if (!uri) return std::string("malformed URL: ") + error->message;
    const char* host = g_uri_get_host(uri.get());
    if (std::string_view(folded.get()) != "file" && (host == nullptr || *host == '\0'))
        return "malformed URL: it names no host";
    return {};
}

}  // namespace assetfetch
