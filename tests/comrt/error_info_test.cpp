#include "tests/comrt/counted_object.h"
#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace {

using tsasync::host::Bstr;
using tsasync::host::ComPtr;

ComPtr<IErrorInfo> MakeError(const char16_t* description) {
    ComPtr<ICreateErrorInfo> details;
    EXPECT_EQ(CreateErrorInfo(details.Put()), S_OK);
    const Bstr text(description);
    details->SetDescription(text);
    ComPtr<IErrorInfo> error;
    EXPECT_EQ(details->QueryInterface(IID_IErrorInfo, error.PutVoid()), S_OK);
    return error;
}

std::u16string DescriptionOf(const ComPtr<IErrorInfo>& error) {
    Bstr text;
    EXPECT_EQ(error->GetDescription(text.Put()), S_OK);
    return text.Text();
}

TEST(ErrorInfo, GivesBackWhatWasSet) {
    ComPtr<ICreateErrorInfo> details;
    ASSERT_EQ(CreateErrorInfo(details.Put()), S_OK);
    const Bstr source(u"CDLManager.AddURL");
    const Bstr help(u"help.chm");
    details->SetGUID(IID_IDispatch);
    details->SetSource(source);
    details->SetHelpFile(help);
    details->SetHelpContext(77);
    ComPtr<IErrorInfo> error;
    ASSERT_EQ(details->QueryInterface(IID_IErrorInfo, error.PutVoid()), S_OK);
    GUID id{};
    DWORD context = 0;
    Bstr text;
    EXPECT_EQ(error->GetGUID(&id), S_OK);
    EXPECT_EQ(id, IID_IDispatch);
    EXPECT_EQ(error->GetSource(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"CDLManager.AddURL");
    EXPECT_EQ(error->GetHelpFile(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"help.chm");
    EXPECT_EQ(error->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 77u);
    EXPECT_EQ(error->GetDescription(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"");
    EXPECT_EQ(error->GetDescription(nullptr), E_POINTER);
}

TEST(ErrorInfo, IsTakenOnce) {
    SetErrorInfo(0, MakeError(u"first").Get());
    SetErrorInfo(0, MakeError(u"second").Get());
    ComPtr<IErrorInfo> error;
    ASSERT_EQ(GetErrorInfo(0, error.Put()), S_OK);
    EXPECT_EQ(DescriptionOf(error), u"second");
    EXPECT_EQ(GetErrorInfo(0, error.Put()), S_FALSE);
    EXPECT_FALSE(error);
}

TEST(ErrorInfo, BelongsToItsThread) {
    SetErrorInfo(0, MakeError(u"mine").Get());
    std::thread([] {
        ComPtr<IErrorInfo> error;
        EXPECT_EQ(GetErrorInfo(0, error.Put()), S_FALSE);
        SetErrorInfo(0, MakeError(u"theirs").Get());
    }).join();
    ComPtr<IErrorInfo> error;
    ASSERT_EQ(GetErrorInfo(0, error.Put()), S_OK);
    EXPECT_EQ(DescriptionOf(error), u"mine");
}

TEST(ErrorInfo, ReservedArgumentsMustBeZero) {
    ComPtr<IErrorInfo> error;
    EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(1, error.Put()), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
}

}  // namespace
