#include "platform/dialog/key_pause.h"

#include <gtest/gtest.h>

namespace tsasync::platform {

namespace {

TEST(DialogKeys, ActFromHalfASecondOnAndWhenPressedAnew) {
    const struct {
        std::uint32_t shown, pressed;
        bool repeated, acts;
    } rows[] = {
        {1000, 900, false, false},       {1000, 1499, false, false},      {1000, 1500, false, true},
        {1000, 60000, true, false},      {0xFFFFFFFF, 498, false, false}, {0xFFFFFFFF, 499, false, true},
        {100, 0xFFFFFFFF, false, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(KeyActs(row.shown, row.pressed, row.repeated), row.acts) << row.shown << ' ' << row.pressed;
}

}  // namespace

}  // namespace tsasync::platform
