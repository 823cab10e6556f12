#include "base/KeyFold.h"
#include "base/KeyedCollection.h"
#include "base/Text.h"
#include "base/modErrHand.h"
#include "tests/base/error_of.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tsasync {
namespace {

TEST(RaiseError, AddsTheBaseOnlyAboveAThousand) {
    const struct {
        std::int32_t number, raised;
        std::u16string source;
    } cases[] = {
        {2001, -2147219503, u"Here"}, {2003, -2147219501, u"Here"}, {1001, -2147221504 + 1001, u"Here"},
        {1000, 1000, u"Here(VB)"},    {53, 53, u"Here(VB)"},        {-2147219503, -2147219503, u"Here(VB)"},
        {2147483647, 262143, u"Here"}};
    for (const auto& c : cases) {
        const auto error =
            ErrorOf([&] { modErrHand::RaiseError(c.number, u"Here", u"what", u"help.hlp", 12); });
        EXPECT_EQ(error.number, c.raised);
        EXPECT_EQ(error.source, c.source);
        EXPECT_EQ(error.description, u"what");
        EXPECT_EQ(error.helpFile, u"help.hlp");
        EXPECT_EQ(error.helpContext, 12);
    }
}

TEST(ErrorCode, TakesTheLowSixteenBits) {
    EXPECT_EQ(modErrHand::ErrorCode(-2147219503), 2001);
    EXPECT_EQ(modErrHand::ErrorCode(14), 14);
    EXPECT_EQ(modErrHand::ErrorCode(-1), 65535);
}

TEST(Text, RoundsHalvesToEven) {
    const double cases[][2] = {{0.5, 0},         {1.5, 2},   {2.5, 2},    {-0.5, 0},
                               {-1.5, -2},       {-2.5, -2}, {1.49, 1},   {36000.3, 36000},
                               {36000.7, 36001}, {-1.7, -2}, {1e18, 1e18}};
    for (const auto& c : cases) EXPECT_EQ(RoundHalfEven(c[0]), c[1]) << c[0];
    EXPECT_TRUE(std::isnan(RoundHalfEven(std::numeric_limits<double>::quiet_NaN())));
}

TEST(Text, WritesNumbers) {
    EXPECT_EQ(Hex(0), u"0");
    EXPECT_EQ(Hex(36000), u"8CA0");
    EXPECT_EQ(Hex(86400), u"15180");
    EXPECT_EQ(Hex(0xFFFFFFFFu), u"FFFFFFFF");
    EXPECT_EQ(Decimal(0), u"0");
    EXPECT_EQ(Decimal(std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808");
}

TEST(Text, TrimsSpacesOnly) {
    EXPECT_EQ(Trim(u"  a b  "), u"a b");
    EXPECT_EQ(Trim(u"\t a"), u"\t a");
    EXPECT_EQ(Trim(u"   "), u"");
    EXPECT_EQ(Trim(u""), u"");
}

TEST(KeyedCollection, FoldsCaseAndNumbersItsErrors) {
    KeyedCollection<int> table;
    table.Add(u"[Äb]", 1);
    EXPECT_EQ(table.Item(u"[äB]"), 1);
    EXPECT_EQ(ErrorOf([&] { table.Add(u"[ÄB]", 2); }).number, 457);
    EXPECT_EQ(table.Item(u"[Äb]"), 1);
    table.Remove(u"[äb]");
    EXPECT_EQ(ErrorOf([&] { table.Item(u"[Äb]"); }).number, 5);
    EXPECT_EQ(ErrorOf([&] { table.Remove(u"[Äb]"); }).number, 5);
}

TEST(KeyFold, KeepsLengthAndSurrogates) {
    // A capital sharp s, an unpaired surrogate and a pair stay as long as they are.
    const std::u16string key = u"[\u1E9E\xD800 \xD835\xDC00]";
    EXPECT_EQ(FoldKey(key).size(), key.size());
    EXPECT_NE(FoldKey(u"[a]"), FoldKey(u"[b]"));
}

}  // namespace
}  // namespace tsasync
