#include "platform/linux/gtk/path_ellipsis.h"

namespace tsasync::platform {

namespace {

constexpr char16_t kSeparator = u'/';
constexpr std::u16string_view kEllipsis = u"...";

bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// The largest number from 0 to `limit` for which `fits` holds. It holds for all smaller ones too.
template <typename Fits>
std::size_t LargestThatFits(std::size_t limit, Fits fits) {
    std::size_t low = 0;
    while (low < limit) {
        const std::size_t middle = low + (limit - low + 1) / 2;
        if (fits(middle)) {
            low = middle;
        } else {
            limit = middle - 1;
        }
    }
    return low;
}

std::u16string_view Head(std::u16string_view text, std::size_t size) {
    if (size > 0 && size < text.size() && IsLowSurrogate(text[size])) --size;
    return text.substr(0, size);
}

std::u16string_view Tail(std::u16string_view text, std::size_t size) {
    std::size_t first = text.size() - size;
    if (first > 0 && first < text.size() && IsLowSurrogate(text[first])) ++first;
    return text.substr(first);
}

}  // namespace

std::optional<std::u16string> EllipsizePath(std::u16string_view path,
                                            const std::function<bool(std::u16string_view)>& fits) {
    if (fits(path)) return std::nullopt;
    const auto joined = [](std::u16string_view head, std::u16string_view tail) {
        return std::u16string(head).append(kEllipsis).append(tail);
    };
    const std::size_t separator = path.rfind(kSeparator);
    const std::size_t lastPart = separator == std::u16string_view::npos ? 0 : separator;
    const std::u16string_view name = path.substr(lastPart);
    const std::size_t kept =
        LargestThatFits(name.size(), [&](std::size_t size) { return fits(joined({}, Tail(name, size))); });
    const std::u16string_view tail = Tail(name, kept);
    if (kept < name.size()) return joined({}, tail);
    const std::u16string_view folder = path.substr(0, lastPart);
    const std::size_t head = LargestThatFits(
        folder.size(), [&](std::size_t size) { return fits(joined(Head(folder, size), tail)); });
    return joined(Head(folder, head), tail);
}

}  // namespace tsasync::platform
