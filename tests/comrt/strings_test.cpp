#include "tsasync/com.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

std::u16string Units(BSTR string) { return {string, SysStringLen(string)}; }

TEST(Strings, KeepTheirUnitsWithZerosAndALoneSurrogate) {
    const std::u16string text{u'a', 0, 0xD800, u'z'};
    const BSTR string = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    EXPECT_EQ(Units(string), text);
    EXPECT_EQ(SysStringByteLen(string), 8u);
    EXPECT_EQ(string[4], 0);
    std::uint32_t prefix = 0;
    std::memcpy(&prefix, reinterpret_cast<const char*>(string) - 4, 4);
    EXPECT_EQ(prefix, 8u) << "hosts of other languages read the length in front of the units";
    SysFreeString(string);
}

TEST(Strings, NullIsEmptyAndEmptyIsNotNull) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
    const BSTR empty = SysAllocString(u"");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);
    EXPECT_EQ(empty[0], 0);
    SysFreeString(empty);
}

TEST(Strings, OddNumberOfBytesEndsInAWholeZeroUnit) {
    const BSTR string = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(SysStringByteLen(string), 3u);
    EXPECT_EQ(SysStringLen(string), 1u);
    EXPECT_EQ(std::memcmp(string, "abc\0\0", 5), 0);
    SysFreeString(string);
}

TEST(Strings, LengthThatOverflowsThePrefixIsRefused) {
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000u), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFFu), nullptr);
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFFu), nullptr);
}

TEST(Strings, ReallocationMayReadTheOldString) {
    BSTR string = SysAllocString(u"0123456789");
    ASSERT_TRUE(SysReAllocStringLen(&string, string + 2, 3));
    EXPECT_EQ(Units(string), u"234");
    ASSERT_TRUE(SysReAllocString(&string, u"other"));
    EXPECT_EQ(Units(string), u"other");
    ASSERT_TRUE(SysReAllocString(&string, nullptr));
    EXPECT_EQ(string, nullptr);
}

TEST(Strings, RefusedReallocationChangesNothing) {
    BSTR string = SysAllocString(u"kept");
    EXPECT_FALSE(SysReAllocStringLen(&string, nullptr, 0xFFFFFFFFu));
    EXPECT_EQ(Units(string), u"kept");
    SysFreeString(string);
}

}  // namespace
