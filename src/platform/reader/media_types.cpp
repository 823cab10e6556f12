#include "platform/reader/media_types.h"

#include "platform/content_types.h"
#include "platform/reader/ascii.h"
#include "platform/reader/content_sniffer.h"
#include "platform/reader/source_url.h"

#include <algorithm>
#include <array>

namespace tsasync::platform::reader {

namespace {

constexpr std::string_view kUnknown = "application/octet-stream";
constexpr std::string_view kText = "text/plain";
// Stands for an extension that is kept.
constexpr std::string_view kExtensionType = "application/x-extension-";
constexpr std::size_t kLongestExtension = 31;  // without its dot

// A media type and the extensions of its files: first the one that people expect, which is given to a file of
// the type; then others that such files have, or files that begin like them.
struct Row {
    std::string_view type;
    std::string_view extensions;
};

// The types that the web serves most. Of several types with the same first extension the first one is told.
constexpr auto kTypes = std::to_array<Row>({
    {"application/epub+zip", "epub"},
    {"application/gzip", "gz"},
    {"application/json", "json"},
    {"application/msword", "doc"},
    {"application/pdf", "pdf ai"},
    {"application/rtf", "rtf"},
    {"application/vnd.ms-excel", "xls"},
    {"application/vnd.ms-fontobject", "eot"},
    {"application/vnd.ms-powerpoint", "ppt"},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation", "pptx"},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", "xlsx"},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", "docx"},
    {"application/vnd.rar", "rar"},
    {"application/wasm", "wasm"},
    {"application/x-7z-compressed", "7z"},
    {"application/x-bzip2", "bz2"},
    {"application/x-msdownload", "exe"},
    {"application/x-sh", "sh"},
    {"application/x-shockwave-flash", "swf"},
    {"application/x-tar", "tar"},
    {"application/x-xz", "xz"},
    {"application/xml", "xml xsd xsl"},
    {"application/zip", "zip"},
    {"application/zstd", "zst"},
    {"audio/aac", "aac"},
    {"audio/aiff", "aiff aif aifc"},
    {"audio/flac", "flac"},
    {"audio/midi", "mid midi kar rmi"},
    {"audio/mp4", "m4a m4b m4r mp4"},
    {"audio/mpeg", "mp3 mp2 mpga"},
    {"audio/ogg", "ogg oga opus spx"},
    {"audio/wav", "wav"},
    {"audio/webm", "weba"},
    {"font/collection", "ttc"},
    {"font/otf", "otf"},
    {"font/ttf", "ttf"},
    {"font/woff", "woff"},
    {"font/woff2", "woff2"},
    {"image/apng", "apng"},
    {"image/avif", "avif avifs"},
    {"image/bmp", "bmp dib"},
    {"image/gif", "gif"},
    {"image/heic", "heic heif hif"},
    {"image/jpeg", "jpg jpeg jpe jfif"},
    {"image/png", "png apng"},
    {"image/svg+xml", "svg"},
    {"image/tiff", "tif tiff arw cr2 dng nef pef srw"},
    {"image/vnd.microsoft.icon", "ico cur"},
    {"image/webp", "webp"},
    {"model/vrml", "wrl vrml"},
    {"multipart/related", "mht mhtml"},
    {"text/calendar", "ics"},
    {"text/css", "css"},
    {"text/csv", "csv"},
    {"text/html", "html htm xhtml shtml"},
    {"text/javascript", "js mjs cjs"},
    {kText,
     "txt c cc cfg conf cpp cs go h hpp ini java jsx kt log lua md php pl py rb rs sql srt swift tex toml ts "
     "tsx tsv vue yaml yml"},
    {"video/3gpp", "3gp 3g2"},
    {"video/mp4", "mp4 m4v"},
    {"video/mpeg", "mpg mpe mpeg vob"},
    {"video/ogg", "ogv ogg"},
    {"video/quicktime", "mov qt"},
    {"video/webm", "webm"},
    {"video/x-matroska", "mkv mk3d"},
    {"video/x-msvideo", "avi"},
    // Other names of the same.
    {"application/javascript", "js"},
    {"application/ogg", "ogg"},
    {"application/x-zip-compressed", "zip"},
    {"audio/x-wav", "wav"},
    {"image/jpg", "jpg"},
    {"image/pjpeg", "jpg"},
    {"image/x-icon", "ico"},
    {"text/xml", "xml"},
});

bool Contains(const Row& row, std::string_view extension) {
    for (std::string_view rest = row.extensions; !rest.empty();) {
        if (Take(rest, ' ') == extension) return true;
    }
    return false;
}

std::string_view FirstOf(const Row& row) { return row.extensions.substr(0, row.extensions.find(' ')); }

const Row* Find(std::string_view type) {
    const auto* found =
        std::find_if(kTypes.begin(), kTypes.end(), [type](const Row& row) { return row.type == type; });
    return found == kTypes.end() ? nullptr : found;
}

// Of other letters a type could not be made.
bool IsExtension(std::string_view text) {
    return !text.empty() && text.size() <= kLongestExtension &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return IsLetter(c) || IsDigit(c) || c == '-' || c == '_' || c == '+'; });
}

// In lower case, without its dot; empty when there is none.
std::string ExtensionOfUrl(std::string_view url) {
    std::string name = LastSegmentOf(url);
    // As the name of the file is tidied.
    name.resize(name.find_last_not_of(". ") + 1);
    name.erase(0, name.find_first_not_of(". "));
    const std::size_t dot = name.rfind('.');
    const std::string extension = dot == name.npos ? std::string() : Lower(name.substr(dot + 1));
    return IsExtension(extension) ? extension : std::string();
}

// The type that files with the extension have; one that the extension could not be told of again stands for
// itself.
std::string TypeOfExtension(const std::string& extension) {
    const auto* known =
        std::find_if(kTypes.begin(), kTypes.end(), [&](const Row& row) { return FirstOf(row) == extension; });
    if (known != kTypes.end()) return std::string(known->type);
    std::string type = ContentTypeForExtension("." + extension);
    if (!type.empty() && ExtensionOfMediaType(type) == "." + extension) return type;
    return std::string(kExtensionType) + extension;
}

bool BelongsTo(const std::string& extension, std::string_view type) {
    const Row* row = Find(type);
    return (row != nullptr && Contains(*row, extension)) || ContentTypeForExtension("." + extension) == type;
}

// Whether the extension is that of files that hold text.
bool NamesText(const std::string& extension) {
    if (Contains(*Find(kText), extension)) return true;
    const std::string type = TypeOfExtension(extension);
    return type.starts_with("text/") || type.ends_with("+xml") || type.ends_with("+json") ||
           type.ends_with("/xml") || type.ends_with("/json") || type == "application/x-sh";
}

bool SaysNothing(std::string_view type) {
    constexpr std::array<std::string_view, 6> kNothing{
        "", "*/*", kUnknown, "binary/octet-stream", "unknown/unknown", "application/unknown"};
    return std::find(kNothing.begin(), kNothing.end(), type) != kNothing.end();
}

}  // namespace

bool WantsContent(std::string_view sent) { return SaysNothing(sent) || sent == kText; }

std::string EffectiveMediaType(std::string_view sent, std::string_view url, std::string_view start) {
    if (!WantsContent(sent)) return std::string(sent);
    const std::string extension = ExtensionOfUrl(url);
    if (sent == kText && IsText(start)) {
        const bool isNamed = !extension.empty() && NamesText(extension);
        return isNamed ? TypeOfExtension(extension) : std::string(kText);
    }
    const std::string_view plain = PlainType(start);
    if (!plain.empty() && (extension.empty() || !BelongsTo(extension, plain))) return std::string(plain);
    if (!extension.empty()) return TypeOfExtension(extension);
    if (const std::string_view other = OtherType(start); !other.empty()) return std::string(other);
    if (std::string type = start.empty() ? std::string() : ContentTypeOfData(start); !SaysNothing(type))
        return type;
    return std::string(!start.empty() && IsText(start) ? kText : kUnknown);
}

std::string ExtensionOfMediaType(std::string_view type) {
    if (const Row* row = Find(type)) return "." + std::string(FirstOf(*row));
    if (type.starts_with(kExtensionType)) {
        const std::string_view extension = type.substr(kExtensionType.size());
        return IsExtension(extension) ? "." + std::string(extension) : std::string();
    }
    // One extension, never a double one.
    const std::string extension = ExtensionForContentType(type);
    const std::string last = extension.substr(std::min(extension.rfind('.'), extension.size()));
    return !last.empty() && IsExtension(last.substr(1)) ? last : std::string();
}

}  // namespace tsasync::platform::reader
