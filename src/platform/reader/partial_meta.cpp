#include "platform/reader/partial_meta.h"

#include "platform/hash.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <span>

namespace tsasync::platform::reader {

namespace {

constexpr std::string_view kFirstLine = "QMASYN10 partial file 1\n";
constexpr std::string_view kSum = "sum ";
constexpr std::string_view kYes = "yes";

bool IsAlphanumeric(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The SHA-256 of `text` in hexadecimal digits.
std::string HashOf(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string digits;
    for (const std::uint8_t byte : Sha256(std::as_bytes(std::span(text)))) {
        digits.push_back(kDigits[byte >> 4]);
        digits.push_back(kDigits[byte & 15]);
    }
    return digits;
}

// "<session>/<number>": letters and digits only, so that no name leads out of the private folder.
bool IsDataName(std::string_view name) {
    const std::size_t slash = name.find('/');
    if (slash == name.npos || slash == 0 || slash + 1 == name.size()) return false;
    return std::all_of(name.begin(), name.end(),
                       [&](const char& c) { return IsAlphanumeric(c) || &c == name.data() + slash; });
}

void SetField(PartialMeta& meta, std::string_view name, std::string_view value) {
    if (name == "source") meta.source = value;
    if (name == "data") meta.data = value;
    if (name == "validator") meta.validator = value;
    if (name == "type") meta.mediaType = value;
    if (name == "whole") meta.whole = value == kYes;
    if (name == "total") {
        std::int64_t total = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), total);
        if (error == std::errc() && end == value.data() + value.size() && total >= 0) meta.total = total;
    }
}

}  // namespace

std::string SourceOf(const std::string& url, const std::string& user, const std::string& password) {
    return HashOf(user.empty() && password.empty() ? url : url + "\n" + user + "\n" + password);
}

std::string FormatPartialMeta(const PartialMeta& meta) {
    std::string text(kFirstLine);
    const auto add = [&](std::string_view name, std::string_view value) {
        if (!value.empty()) text.append(name).append(" ").append(value).append("\n");
    };
    add("source", meta.source);
    add("data", meta.data);
    add("validator", meta.validator);
    add("type", meta.mediaType);
    if (meta.total) add("total", std::to_string(*meta.total));
    if (meta.whole) add("whole", kYes);
    return text + std::string(kSum) + HashOf(text) + "\n";
}

std::optional<PartialMeta> ParsePartialMeta(std::string_view text) {
    const std::size_t sum = text.rfind(kSum);
    if (!text.starts_with(kFirstLine) || sum == text.npos || text[sum - 1] != '\n') return std::nullopt;
    const std::string_view fields = text.substr(0, sum);
    if (text.substr(sum + kSum.size()) != HashOf(fields) + "\n") return std::nullopt;
    PartialMeta meta;
    for (std::size_t start = kFirstLine.size(); start < fields.size();) {
        const std::size_t end = fields.find('\n', start);
        const std::string_view line = fields.substr(start, end - start);
        const std::size_t blank = line.find(' ');
        if (blank != line.npos) SetField(meta, line.substr(0, blank), line.substr(blank + 1));
        start = end + 1;
    }
    if (meta.source.empty() || !IsDataName(meta.data)) return std::nullopt;
    return meta;
}

}  // namespace tsasync::platform::reader
