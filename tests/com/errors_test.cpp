// Errors, early and late bound.
#include "com/ErrorBoundary.h"
#include "tests/com/com_test.h"
#include "tests/com/late_bound.h"
#include "tests/com/test_sink.h"

#include <gtest/gtest.h>

#include <thread>

namespace tsasync::test {
namespace {

using Errors = ComTest;

constexpr auto kUnknownHandle = static_cast<HRESULT>(0x800407D1u);
constexpr auto kInvalidCall = static_cast<HRESULT>(0x800A0005u);
constexpr const char16_t* kGeneric = u"Application-defined or object-defined error";

TEST_F(Errors, ReachEarlyBoundHostsInTheErrorObject) {
    try {
        host::Check(manager->ChangeState(host::Bstr(u"nobody"), ::tsdStarting, 0, nullptr));
        FAIL() << "nothing was thrown";
    } catch (const host::Error& error) {
        EXPECT_EQ(error.Number(), kUnknownHandle);
        EXPECT_EQ(error.Source(), u"CDLManager.ChangeState");
        EXPECT_EQ(error.Description(), kGeneric);
    }
    ASSERT_EQ(manager->RemoveURL(host::Bstr(u"nobody")), kInvalidCall);
    host::ComPtr<IErrorInfo> info;
    ASSERT_EQ(GetErrorInfo(0, info.Put()), S_OK);
    GUID raiser{};
    host::Bstr text;
    EXPECT_EQ(info->GetGUID(&raiser), S_OK);
    EXPECT_EQ(raiser, IID__CDLManager);
    EXPECT_EQ(info->GetSource(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"CDLManager.RemoveURL");
    EXPECT_EQ(info->GetDescription(text.Put()), S_OK);
    EXPECT_EQ(text.Text(), u"Invalid procedure call or argument");
}

TEST_F(Errors, ReachLateBoundHostsInTheExceptionRecord) {
    const Outcome removed = Call(Late(), DISPID_CDLManager_RemoveURL, {Value(u"nobody")});
    EXPECT_EQ(removed.result, DISP_E_EXCEPTION);
    EXPECT_EQ(removed.scode, kInvalidCall);
    EXPECT_EQ(removed.source, u"CDLManager.RemoveURL");
    EXPECT_EQ(removed.description, u"Invalid procedure call or argument");
    const Outcome changed =
        Call(Late(), DISPID_CDLManager_ChangeState, {Value(u"nobody"), Value::Long(tsdStopped)});
    EXPECT_EQ(changed.result, DISP_E_EXCEPTION);
    EXPECT_EQ(changed.scode, kUnknownHandle);
    EXPECT_EQ(changed.source, u"CDLManager.ChangeState");
    EXPECT_EQ(changed.description, kGeneric);
    host::ComPtr<IErrorInfo> left;
    EXPECT_EQ(GetErrorInfo(0, left.Put()), S_FALSE) << "the error was handed over, not doubled";
}

TEST_F(Errors, NameAnotherThread) {
    Add(u"http://host/a.png");
    const auto point = PointOf(manager.Get());
    const auto container =
        host::Query<IConnectionPointContainer>(manager.Get(), IID_IConnectionPointContainer);
    TestSink sink(nullptr);
    const DWORD cookie = Advise(point, sink);
    std::thread([&] {
        const Outcome outcome = Read(Late(), DISPID_CDLManager_Jobs);
        EXPECT_EQ(outcome.scode, RPC_E_WRONG_THREAD);
        EXPECT_EQ(outcome.description, u"The object was created on another thread");
        DWORD other = 0;
        host::ComPtr<IEnumConnections> connections;
        host::ComPtr<IEnumConnectionPoints> points;
        host::ComPtr<IConnectionPoint> same;
        const HRESULT answers[] = {point->Advise(&sink, &other), point->Unadvise(cookie),
                                   point->EnumConnections(connections.Put()),
                                   container->EnumConnectionPoints(points.Put()),
                                   container->FindConnectionPoint(DIID___CDLManager, same.Put())};
        for (const HRESULT answer : answers) EXPECT_EQ(answer, RPC_E_WRONG_THREAD);
    }).join();
    EXPECT_EQ(point->Unadvise(cookie), S_OK);
}

TEST_F(Errors, LastReleaseOnAnotherThreadEndsNothing) {
    Add(u"http://host/a.png");
    std::thread([this] { EXPECT_EQ(manager->Release(), 0u); }).join();
    EXPECT_EQ(Read(Late(), DISPID_CDLManager_Jobs).value.Number(), 1) << "the object lives on";
}

TEST_F(Errors, AreAnnouncedForTheInterfacesOfTheObject) {
    const auto support = host::Query<ISupportErrorInfo>(manager.Get(), IID_ISupportErrorInfo);
    for (const IID& iid : {IID__CDLManager, IID_CDLManager___v0, IID_CDLManager___v1}) {
        EXPECT_EQ(support->InterfaceSupportsErrorInfo(iid), S_OK);
    }
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID__CDLItem), S_FALSE);
}

TEST(ErrorNumbers, MapBothWays) {
    const std::pair<std::int32_t, std::uint32_t> pairs[] = {{1, 0x800A0001u},
                                                            {53, 0x800A0035u},
                                                            {65535, 0x800AFFFFu},
                                                            {kUnknownHandle, 0x800407D1u},
                                                            {E_FAIL, 0x80004005u}};
    for (const auto& [number, result] : pairs) {
        EXPECT_EQ(static_cast<std::uint32_t>(com::ResultOf(number)), result);
        EXPECT_EQ(com::NumberOf(static_cast<HRESULT>(result)), number);
    }
    EXPECT_EQ(com::ResultOf(0), E_FAIL) << "an error must not look like success";
    EXPECT_EQ(com::ResultOf(65536), E_FAIL);
    EXPECT_EQ(com::NumberOf(static_cast<HRESULT>(0x800A0000u)), static_cast<HRESULT>(0x800A0000u));
}

TEST(ErrorNumbers, NothingIsThrownAcrossTheBoundary) {
    EXPECT_EQ(com::Guarded(IID_NULL, [] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(com::Guarded(IID_NULL, [] { throw std::length_error("text"); }), E_UNEXPECTED);
    EXPECT_EQ(com::Guarded(IID_NULL,
                           [] {
                               throw AutomationError{53, u"Source", u"Text", u"Help", 9};
                           }),
              static_cast<HRESULT>(0x800A0035u));
    com::OwnedExcepInfo info;
    ASSERT_TRUE(com::TakeError(static_cast<HRESULT>(0x800A0035u), info));
    const AutomationError back = com::ErrorOf(DISP_E_EXCEPTION, info);
    EXPECT_EQ(back.number, 53);
    EXPECT_EQ(back.source, u"Source");
    EXPECT_EQ(back.description, u"Text");
    EXPECT_EQ(back.helpFile, u"Help");
    EXPECT_EQ(back.helpContext, 9);
}

}  // namespace
}  // namespace tsasync::test
