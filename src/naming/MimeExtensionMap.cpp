#include "naming/MimeExtensionMap.h"

#include "base/KeyFold.h"
#include "platform/content_types.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tsasync {

namespace {

// The types that the web serves most, each with the extension that people expect. Sorted.
constexpr auto kCommonTypes = std::to_array<std::pair<std::u16string_view, std::u16string_view>>({
    {u"application/gzip", u".gz"},
    {u"application/javascript", u".js"},
    {u"application/json", u".json"},
    {u"application/msword", u".doc"},
    {u"application/ogg", u".ogg"},
    {u"application/pdf", u".pdf"},
    {u"application/rtf", u".rtf"},
    {u"application/vnd.ms-excel", u".xls"},
    {u"application/vnd.ms-powerpoint", u".ppt"},
    {u"application/vnd.openxmlformats-officedocument.presentationml.presentation", u".pptx"},
    {u"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", u".xlsx"},
    {u"application/vnd.openxmlformats-officedocument.wordprocessingml.document", u".docx"},
    {u"application/wasm", u".wasm"},
    {u"application/x-7z-compressed", u".7z"},
    {u"application/x-shockwave-flash", u".swf"},
    {u"application/x-zip-compressed", u".zip"},
    {u"application/xml", u".xml"},
    {u"application/zip", u".zip"},
    {u"audio/aac", u".aac"},
    {u"audio/flac", u".flac"},
    {u"audio/midi", u".mid"},
    {u"audio/mp4", u".m4a"},
    {u"audio/mpeg", u".mp3"},
    {u"audio/ogg", u".ogg"},
    {u"audio/wav", u".wav"},
    {u"audio/webm", u".weba"},
    {u"audio/x-wav", u".wav"},
    {u"font/otf", u".otf"},
    {u"font/ttf", u".ttf"},
    {u"font/woff", u".woff"},
    {u"font/woff2", u".woff2"},
    {u"image/avif", u".avif"},
    {u"image/bmp", u".bmp"},
    {u"image/gif", u".gif"},
    {u"image/jpeg", u".jpg"},
    {u"image/jpg", u".jpg"},
    {u"image/pjpeg", u".jpg"},
    {u"image/png", u".png"},
    {u"image/svg+xml", u".svg"},
    {u"image/tiff", u".tif"},
    {u"image/vnd.microsoft.icon", u".ico"},
    {u"image/webp", u".webp"},
    {u"image/x-icon", u".ico"},
    {u"text/css", u".css"},
    {u"text/csv", u".csv"},
    {u"text/html", u".html"},
    {u"text/javascript", u".js"},
    {u"text/plain", u".txt"},
    {u"text/xml", u".xml"},
    {u"video/mp4", u".mp4"},
    {u"video/mpeg", u".mpg"},
    {u"video/ogg", u".ogv"},
    {u"video/quicktime", u".mov"},
    {u"video/webm", u".webm"},
    {u"video/x-msvideo", u".avi"},
});
static_assert(std::is_sorted(kCommonTypes.begin(), kCommonTypes.end()));

constexpr std::size_t kLongestName = 127;  // of a type and of a subtype

bool IsName(std::u16string_view text) {
    constexpr std::u16string_view kOther = u"!#$&-^_.+";
    const auto allowed = [&](char16_t unit) {
        return (unit >= u'a' && unit <= u'z') || (unit >= u'0' && unit <= u'9') ||
               kOther.find(unit) != kOther.npos;
    };
    return !text.empty() && text.size() <= kLongestName && std::all_of(text.begin(), text.end(), allowed);
}

// "type/subtype" in lower case, without parameters and blanks; empty when `mimeType` has not that form.
std::u16string PlainType(std::u16string_view mimeType) {
    constexpr std::u16string_view kBlanks = u" \t\r\n";
    mimeType = mimeType.substr(0, mimeType.find(u';'));
    const auto first = mimeType.find_first_not_of(kBlanks);
    if (first == mimeType.npos) return {};
    mimeType = mimeType.substr(first, mimeType.find_last_not_of(kBlanks) - first + 1);

    const auto slash = mimeType.find(u'/');
    if (slash == mimeType.npos) return {};
    std::u16string plain = FoldKey(mimeType);
    const std::u16string_view view = plain;
    if (!IsName(view.substr(0, slash)) || !IsName(view.substr(slash + 1))) return {};
    return plain;
}

}  // namespace

std::u16string MimeExtensionMap::ExtensionOf(std::u16string_view mimeType) const {
    const std::u16string type = PlainType(mimeType);
    if (type.empty()) return {};
    const auto* found =
        std::lower_bound(kCommonTypes.begin(), kCommonTypes.end(), type,
                         [](const auto& entry, const auto& key) { return entry.first < key; });
    if (found != kCommonTypes.end() && found->first == type) return std::u16string(found->second);
    return platform::ExtensionForContentType(type);
}

}  // namespace tsasync
