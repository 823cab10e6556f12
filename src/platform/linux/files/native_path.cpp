#include "platform/linux/files/native_path.h"

#include "base/Utf8.h"

#include <fcntl.h>

#include <algorithm>
#include <climits>

namespace tsasync::platform {

namespace {

// Leaves room for another name to be put behind the path.
constexpr std::size_t kLongest = PATH_MAX - NAME_MAX - 2;

constexpr char32_t kByteUnit = 0xDC00;
constexpr char32_t kFirstForeign = kByteUnit + 0x80;  // ASCII is always a character
constexpr char32_t kLastForeign = kByteUnit + 0xFF;

// Opens the longest leading part of `rest`, below `parent`, that is a folder, and takes it off `rest`.
FileHandle TakeFolder(int parent, std::string_view& rest) {
    for (std::size_t slash = rest.rfind('/', kLongest); slash != rest.npos;
         slash = rest.rfind('/', slash - 1)) {
        const std::string part(rest.substr(0, slash + 1));
        FileHandle folder(openat(parent, part.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (folder) {
            rest.remove_prefix(std::min(rest.find_first_not_of('/', slash), rest.size()));
            return folder;
        }
        if (slash == 0) break;
    }
    return FileHandle();
}

}  // namespace

std::string ToNativeBytes(std::u16string_view path) {
    std::string bytes;
    for (std::size_t position = 0; position < path.size();) {
        const char32_t point = utf8::NextCodePoint(path, position);
        if (point >= kFirstForeign && point <= kLastForeign) {
            bytes += static_cast<char>(point - kByteUnit);
        } else {
            utf8::Append(bytes, point);
        }
    }
    return bytes;
}

std::u16string FromNativeBytes(std::string_view path) {
    std::u16string units;
    for (std::size_t position = 0; position < path.size();) {
        const std::size_t start = position;
        const char32_t point = utf8::NextCodePoint(path, position);
        std::string again;
        utf8::Append(again, point);
        const std::string_view bytes = path.substr(start, position - start);
        if (again == bytes && !utf8::IsLeadSurrogate(point) && !utf8::IsTrailSurrogate(point)) {
            utf8::Append(units, point);
        } else {
            for (const char byte : bytes)
                units += static_cast<char16_t>(kByteUnit + static_cast<unsigned char>(byte));
        }
    }
    return units;
}

NativePath::NativePath(std::string path) : m_text(std::move(path)) {
    if (m_text.size() > kLongest) Shorten();
}

void NativePath::Shorten() {
    std::string_view rest = m_text;
    while (rest.size() > kLongest) {
        FileHandle folder = TakeFolder(m_folder ? m_folder.Get() : AT_FDCWD, rest);
        if (!folder) break;
        m_folder = std::move(folder);
    }
    if (!m_folder) return;
    m_text =
        "/proc/self/fd/" + std::to_string(m_folder.Get()) + "/" + (rest.empty() ? "." : std::string(rest));
}

std::optional<NativePath> ToNativePath(std::u16string_view path) {
    if (path.empty() || path.find(u'\0') != std::u16string_view::npos) return std::nullopt;
    return NativePath(ToNativeBytes(path));
}

}  // namespace tsasync::platform
