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

// What else it carries the component's own errors show.
TEST(ErrorInfo, IsTakenOnceOnItsThread) {
    SetErrorInfo(0, MakeError(u"first").Get());
    SetErrorInfo(0, MakeError(u"second").Get());
    std::thread([] {
        ComPtr<IErrorInfo> error;
        EXPECT_EQ(GetErrorInfo(0, error.Put()), S_FALSE);
        SetErrorInfo(0, MakeError(u"theirs").Get());
    }).join();
    ComPtr<IErrorInfo> error;
    ASSERT_EQ(GetErrorInfo(0, error.Put()), S_OK);
    Bstr text;
    EXPECT_EQ(error->GetDescription(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"second");
    EXPECT_EQ(error->GetSource(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"");
    EXPECT_EQ(error->GetDescription(nullptr), E_POINTER);
    EXPECT_EQ(GetErrorInfo(0, error.Put()), S_FALSE);
    EXPECT_FALSE(error);
}

TEST(ErrorInfo, ReservedArgumentsMustBeZero) {
    ComPtr<IErrorInfo> error;
    EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(1, error.Put()), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
}

}  // namespace
