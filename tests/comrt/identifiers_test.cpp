#include "tsasync/TSAsync.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr const char16_t* kText = u"{F48DE0B7-A80A-11D3-93D8-00500433864D}";

TEST(Identifiers, GoThereAndBack) {
    CLSID id{};
    ASSERT_EQ(CLSIDFromString(kText, &id), S_OK);
    EXPECT_EQ(id, CLSID_CDLManager);
    OLECHAR text[39];
    ASSERT_EQ(StringFromGUID2(id, text, 39), 39);
    EXPECT_EQ(std::u16string(text), kText);
    ASSERT_EQ(CLSIDFromString(u"{f48de0b7-a80a-11d3-93d8-00500433864d}", &id), S_OK);
    EXPECT_EQ(id, CLSID_CDLManager);
}

TEST(Identifiers, TextNeedsItsRoom) {
    OLECHAR text[39] = u"untouched";
    EXPECT_EQ(StringFromGUID2(CLSID_CDLManager, text, 38), 0);
    EXPECT_EQ(std::u16string(text), u"untouched");
    EXPECT_EQ(StringFromGUID2(CLSID_CDLManager, text, -1), 0);
}

TEST(Identifiers, MalformedTextIsRefused) {
    for (const char16_t* text :
         {u"", u"{", u"F48DE0B7-A80A-11D3-93D8-00500433864D", u"{F48DE0B7-A80A-11D3-93D8-00500433864D",
          u"{F48DE0B7-A80A-11D3-93D8-00500433864D}x", u"{F48DE0B7-A80A-11D3-93D8-0050043386-4D}",
          u"{F48DE0B7 A80A-11D3-93D8-00500433864D}", u"{F48DE0BG-A80A-11D3-93D8-00500433864D}",
          u"(F48DE0B7-A80A-11D3-93D8-00500433864D)"}) {
        CLSID id = CLSID_CDLManager;
        EXPECT_EQ(CLSIDFromString(text, &id), CO_E_CLASSSTRING)
            << testing::PrintToString(std::u16string(text));
        EXPECT_EQ(id, CLSID_NULL);
    }
    EXPECT_EQ(CLSIDFromString(kText, nullptr), E_INVALIDARG);
}

}  // namespace
