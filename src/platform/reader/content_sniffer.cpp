#include "platform/reader/content_sniffer.h"

#include "platform/reader/ascii.h"

#include <algorithm>
#include <array>

namespace tsasync::platform::reader {

namespace {

using namespace std::string_view_literals;

// Content of a type begins with `first`, and has `second` at an offset.
struct Signature {
    std::string_view type;
    std::string_view first;
    std::size_t offset = 0;
    std::string_view second = {};
};

constexpr auto kPlain = std::to_array<Signature>({
    {"image/png", "\x89PNG\r\n\x1a\n"},
    {"image/gif", "GIF87a"},
    {"image/gif", "GIF89a"},
    {"image/jpeg", "\xff\xd8\xff"},
    {"image/webp", "RIFF", 8, "WEBP"},
    {"image/bmp", "BM", 6, "\0\0\0\0"sv},
    {"image/tiff", "II*\0"sv},
    {"image/tiff", "MM\0*"sv},
    {"image/vnd.microsoft.icon", "\0\0\1\0"sv, 9, "\0"sv},
    {"image/avif", "", 4, "ftypavif"},
    {"image/avif", "", 4, "ftypavis"},
    {"image/heic", "", 4, "ftyphei"},
    {"audio/mpeg", "ID3"},
    {"audio/wav", "RIFF", 8, "WAVE"},
    {"audio/flac", "fLaC"},
    {"audio/midi", "MThd"},
    {"audio/aiff", "FORM", 8, "AIF"},
    {"audio/ogg", "OggS", 28, "\x01vorbis"},
    {"audio/ogg", "OggS", 28, "OpusHead"},
    {"audio/ogg", "OggS", 28,
     "\x7f"
     "FLAC"},
    {"audio/ogg", "OggS", 28, "Speex"},
    {"audio/mp4", "", 4, "ftypM4A"},
    {"audio/mp4", "", 4, "ftypM4B"},
    {"video/ogg", "OggS", 28, "\x80theora"},
    {"video/ogg", "OggS", 28, "fishead"},
    {"video/mp4", "", 4, "ftypiso"},
    {"video/mp4", "", 4, "ftypmp4"},
    {"video/mp4", "", 4, "ftypM4V"},
    {"video/mp4", "", 4, "ftypavc1"},
    {"video/mp4", "", 4, "ftypdash"},
    {"video/3gpp", "", 4, "ftyp3g"},
    {"video/quicktime", "", 4, "ftypqt  "},
    {"video/x-msvideo", "RIFF", 8, "AVI "},
    {"video/mpeg", "\0\0\1\xba"sv},
    {"font/otf", "OTTO"},
    {"font/collection", "ttcf\0\1\0\0"sv},
    {"font/collection", "ttcf\0\2\0\0"sv},
    {"font/woff", "wOFF"},
    {"font/woff2", "wOF2"},
    {"application/pdf", "%PDF-"},
});

constexpr auto kOther = std::to_array<Signature>({
    {"application/zip", "PK\3\4"},
    {"application/gzip", "\x1f\x8b"},
    {"application/x-bzip2", "BZh"},
    {"application/x-xz",
     "\xfd"
     "7zXZ\0"sv},
    {"application/zstd", "\x28\xb5\x2f\xfd"},
    {"application/x-7z-compressed", "7z\xbc\xaf\x27\x1c"},
    {"application/vnd.rar", "Rar!\x1a\7"},
    {"application/wasm", "\0asm"sv},
    {"application/rtf", "{\\rtf"},
    {"application/xml", "<?xml "},
});

template <std::size_t kSize>
std::string_view Find(const std::array<Signature, kSize>& signatures, std::string_view start) {
    const auto found = std::find_if(signatures.begin(), signatures.end(), [&](const Signature& one) {
        return start.starts_with(one.first) && start.size() >= one.offset &&
               start.substr(one.offset).starts_with(one.second);
    });
    return found == signatures.end() ? std::string_view() : found->type;
}

unsigned ByteAt(std::string_view bytes, std::size_t at) { return static_cast<unsigned char>(bytes[at]); }

// A frame of MPEG layer III, of a bit rate and a sample rate that there are.
bool IsMp3Frame(std::string_view start) {
    return start.size() > 3 && ByteAt(start, 0) == 0xFF && (ByteAt(start, 1) & 0xE6) == 0xE2 &&
           (ByteAt(start, 1) & 0x18) != 0x08 && (ByteAt(start, 2) & 0xF0) != 0xF0 &&
           (ByteAt(start, 2) & 0xF0) != 0 && (ByteAt(start, 2) & 0x0C) != 0x0C;
}

// A number of tables that a font may have, and the first one's name.
bool IsTrueType(std::string_view start) {
    return start.size() > 16 && start.starts_with("\0\1\0\0\0"sv) && ByteAt(start, 5) >= 4 &&
           std::all_of(start.begin() + 12, start.begin() + 16, [](char c) { return c >= ' ' && c <= '~'; });
}

std::string_view MatroskaType(std::string_view start) {
    if (!start.starts_with("\x1a\x45\xdf\xa3")) return {};
    start = start.substr(0, 64);
    if (start.find("webm") != start.npos) return "video/webm";
    return start.find("matroska") != start.npos ? "video/x-matroska" : std::string_view();
}

// Without byte order mark, blanks and comments, and what may stand before the document's element.
std::string_view AtFirstElement(std::string_view text) {
    if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n\f"), text.size()));
        const std::string_view end = text.starts_with("<!--") ? "-->" : text.starts_with("<?xml") ? "?>" : "";
        const std::size_t behind = end.empty() ? text.npos : text.find(end);
        if (behind == text.npos) return text;
        text.remove_prefix(behind + end.size());
    }
}

bool IsTag(std::string_view text, std::string_view tag) {
    return text.size() > tag.size() && StartsWithNoCase(text, tag) &&
           std::string_view(" \t\r\n\f>").find(text[tag.size()]) != std::string_view::npos;
}

std::string_view MarkupType(std::string_view start) {
    const std::string_view element = AtFirstElement(start);
    for (const std::string_view tag : {"<!doctype html", "<html", "<head", "<body", "<title"}) {
        if (IsTag(element, tag)) return "text/html";
    }
    return IsTag(element, "<svg") || IsTag(element, "<!doctype svg") ? "image/svg+xml" : std::string_view();
}

// Units of text in UTF-16: no control but for blanks and line ends, no unit that is never assigned.
bool IsUtf16(std::string_view units, bool bigEndian) {
    for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
        const unsigned unit =
            ByteAt(units, i + (bigEndian ? 0 : 1)) << 8 | ByteAt(units, i + (bigEndian ? 1 : 0));
        const bool isControl = unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r' && unit != '\f';
        if (isControl || unit >= 0xFFFE) return false;
    }
    return true;
}

}  // namespace

std::string_view PlainType(std::string_view start) {
    if (const auto type = Find(kPlain, start); !type.empty()) return type;
    if (IsMp3Frame(start)) return "audio/mpeg";
    if (IsTrueType(start)) return "font/ttf";
    if (const auto type = MatroskaType(start); !type.empty()) return type;
    return MarkupType(start);
}

std::string_view OtherType(std::string_view start) { return Find(kOther, start); }

bool IsText(std::string_view start) {
    if (start.starts_with("\xff\xfe")) return IsUtf16(start.substr(2), false);
    if (start.starts_with("\xfe\xff")) return IsUtf16(start.substr(2), true);
    return std::none_of(start.begin(), start.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 && std::string_view("\t\n\f\r\x1b").find(c) == std::string_view::npos;
    });
}

}  // namespace tsasync::platform::reader
