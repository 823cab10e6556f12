#include "tsasync/host.hpp"

#include "tests/comrt/counted_object.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace tsasync::host;
using tsasync::test::CountedObject;

struct TextPair {
    std::u16string utf16;
    std::string utf8;
};

TEST(HostText, GoesThereAndBack) {
    const TextPair pairs[] = {
        {u"", ""},
        {u"plain", "plain"},
        {u"\u00E4\u07FF\u0800\u20AC\uFFFD", "\xC3\xA4\xDF\xBF\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBD"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
        {u"\xDC80", "\x80"},  // no characters
        {u"\xDCC3", "\xC3"},
        {u"\xDCC3z\xDCFF", "\xC3z\xFF"},
        {u"\xDCC0\xDC80", "\xC0\x80"},
        {u"\xDCED\xDCB2\xDC80", "\xED\xB2\x80"},
        {u"\xDCF4\xDC90\xDC80\xDC80", "\xF4\x90\x80\x80"}};
    for (const TextPair& pair : pairs) {
        EXPECT_EQ(Utf8(pair.utf16), pair.utf8);
        EXPECT_EQ(Utf16(pair.utf8), pair.utf16);
    }
}

TEST(HostText, MalformedTextIsReplaced) {
    EXPECT_EQ(Utf8(u"a\xD800"), "a\xEF\xBF\xBD");
    EXPECT_EQ(Utf8(u"\xDC00z"), "\xEF\xBF\xBDz");
    EXPECT_EQ(Utf8(u"\xD800\xD800\xDC00"), "\xEF\xBF\xBD\xF0\x90\x80\x80");
}

TEST(HostPointer, CountsOncePerOwner) {
    CountedObject object;
    {
        const ComPtr<IDispatch> first(&object);
        ComPtr<IDispatch> second = first;
        EXPECT_EQ(object.references, 3u);
        ComPtr<IDispatch> third = std::move(second);
        EXPECT_EQ(object.references, 3u);
        third = third;  // NOLINT: the same object to itself
        EXPECT_EQ(object.references, 3u);
        EXPECT_EQ(Query<IDispatch>(third.Get(), IID_IDispatch).Get(), &object);
    }
    EXPECT_EQ(object.references, 1u);
}

TEST(HostErrors, SayWhatTheErrorObjectSays) {
    ComPtr<ICreateErrorInfo> details;
    ASSERT_EQ(CreateErrorInfo(details.Put()), S_OK);
    const Bstr source(u"CDLManager.RemoveURL");
    const Bstr description(u"Invalid procedure call or argument");
    details->SetSource(source);
    details->SetDescription(description);
    SetErrorInfo(0, Query<IErrorInfo>(details.Get(), IID_IErrorInfo).Get());
    Check(S_FALSE);
    try {
        Check(static_cast<HRESULT>(0x800A0005u));
        FAIL() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.Number(), static_cast<HRESULT>(0x800A0005u));
        EXPECT_EQ(error.Source(), u"CDLManager.RemoveURL");
        EXPECT_STREQ(error.what(), "CDLManager.RemoveURL: Invalid procedure call or argument (0x800A0005)");
    }
    EXPECT_THROW(Check(E_FAIL), Error);
}

TEST(HostErrors, HaveATextWithoutAnErrorObject) {
    for (const HRESULT number : {REGDB_E_CLASSNOTREG, CO_E_CLASSSTRING, RPC_E_WRONG_THREAD}) {
        try {
            Check(number);
            FAIL() << "nothing was thrown";
        } catch (const Error& error) {
            EXPECT_NE(error.Description(), u"") << error.what();
        }
    }
}

}  // namespace
