#include "platform/dialog/key_pause.h"
#include "platform/dialog/layout.h"

#include <gtest/gtest.h>

#include <ostream>
#include <utility>
#include <vector>

namespace tsasync::platform {

void PrintTo(const DialogRectangle& area, std::ostream* out) {
    *out << area.left << ' ' << area.top << ' ' << area.width << ' ' << area.height;
}

namespace {

using enum ProgressControl;

struct Row {
    const char* what;
    DialogSizes sizes;  // less the needs
    std::vector<std::pair<ProgressControl, DialogSize>> needs;
    DialogSize client;
    std::vector<std::pair<ProgressControl, DialogRectangle>> places;
};

TEST(DialogLayout, GrowsAsTextsNeed) {
    const std::vector<Row> rows{
        {"as designed",
         {96, 0, 1000},
         {},
         {390, 210},
         {{Animation, {11, 11, 368, 51}},
          {Saving, {11, 67, 85, 18}},
          {AssetName, {11, 84, 371, 18}},
          {Progress, {11, 101, 371, 13}},
          {Estimated, {11, 118, 153, 18}},
          {TimeLeft, {168, 118, 214, 18}},
          {Dest, {140, 134, 242, 18}},
          {Cancel, {303, 179, 79, 23}}}},
        {"at twice the dots", {192, 0, 2000}, {}, {781, 420}, {{AssetName, {22, 168, 741, 35}}}},
        {"never narrower than before",
         {96, 500, 1000},
         {},
         {500, 210},
         {{AssetName, {11, 84, 481, 18}}, {Cancel, {413, 179, 79, 23}}}},
        {"never narrower than designed", {96, 0, 200}, {}, {390, 210}, {}},
        {"values behind longer captions",
         {96, 0, 1000},
         {{Saving, {100, 16}}, {Estimated, {200, 16}}, {Transfer, {135, 16}}},
         {390, 210},
         {{Saving, {11, 67, 100, 18}},
          {Estimated, {11, 118, 204, 18}},
          {TimeLeft, {219, 118, 163, 18}},
          {Transfer, {11, 151, 139, 18}},
          {Rate, {154, 151, 228, 18}}}},
        {"as much room for a path",
         {96, 0, 1000},
         {{Download, {200, 16}}},
         {469, 210},
         {{Dest, {219, 134, 242, 18}}}},
        {"no line cut",
         {96, 0, 2000},
         {{TimeLeft, {900, 16}}},
         {1076, 210},
         {{TimeLeft, {168, 118, 900, 18}}}},
        {"as the screen allows", {96, 0, 1000}, {{TimeLeft, {1100, 16}}}, {1000, 210}, {}},
        {"twice as wide for a path",
         {96, 0, 1000},
         {{Dest, {900, 16}}},
         {780, 210},
         {{Dest, {140, 134, 632, 18}}}},
        {"twice as wide for a name", {96, 0, 1000}, {{AssetName, {900, 16}}}, {780, 210}, {}},
        {"a wide button", {96, 0, 1000}, {{Cancel, {120, 23}}}, {390, 210}, {{Cancel, {262, 179, 120, 23}}}},
        {"high lines",
         {96, 0, 1000},
         {{Saving, {50, 30}}, {Estimated, {50, 30}}, {TimeLeft, {50, 30}}, {Cancel, {50, 40}}},
         {390, 254},
         {{Saving, {11, 67, 85, 30}},
          {AssetName, {11, 97, 371, 18}},
          {Progress, {11, 114, 371, 13}},
          {Estimated, {11, 131, 153, 30}},
          {TimeLeft, {168, 131, 214, 30}},
          {Dest, {140, 161, 242, 18}},
          {Cancel, {303, 206, 79, 40}}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        DialogSizes sizes = row.sizes;
        for (const auto& [control, size] : row.needs)
            sizes.needs.at(static_cast<std::size_t>(control)) = size;
        const DialogLayout layout = LayOutDialog(sizes);
        EXPECT_EQ(std::pair(layout.client.width, layout.client.height),
                  std::pair(row.client.width, row.client.height));
        for (const auto& [control, place] : row.places)
            EXPECT_EQ(layout.places.at(static_cast<std::size_t>(control)), place)
                << static_cast<int>(control);
    }
}

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
