#include "platform/linux/gtk/path_ellipsis.h"

#include <gtest/gtest.h>

namespace tsasync::platform {

namespace {

struct Case {
    std::u16string_view path;
    std::size_t width;  // in units, as if every one were a pixel wide
    std::optional<std::u16string> shortened;
};

TEST(PathEllipsis, KeepsTheLastPartAsLongAsItCan) {
    const Case cases[] = {
        {u"/home/quill/photo.jpg", 21, std::nullopt},
        {u"/home/quill/photo.jpg", 20, u"/home/q.../photo.jpg"},
        {u"/home/quill/photo.jpg", 13, u".../photo.jpg"},
        {u"/home/quill/photo.jpg", 12, u"...photo.jpg"},
        {u"/home/quill/photo.jpg", 7, u"....jpg"},
        {u"/home/quill/photo.jpg", 2, u"..."},
        {u"photograph.jpg", 10, u"...aph.jpg"},
        {u"/a/\U0001F33A\U0001F33A", 8, std::nullopt},  // 7 units
        {u"/ab\U0001F33A/xyz", 8,
         u"/..."
         u"/xyz"},
        {u"/b\U0001F33A\U0001F33A", 5,
         u"..."
         u"\U0001F33A"},  // no half of a character
    };
    for (const Case& entry : cases) {
        const auto fits = [&](std::u16string_view text) { return text.size() <= entry.width; };
        EXPECT_EQ(EllipsizePath(entry.path, fits), entry.shortened) << entry.width;
    }
}

}  // namespace

}  // namespace tsasync::platform
