// Connection points and events.
#include "tests/com/com_test.h"
#include "tests/com/late_bound.h"
#include "tests/com/test_sink.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace tsasync::test {
namespace {

using Events = ComTest;

constexpr const char16_t* kUrl = u"http://host/a.png";

TEST_F(Events, ReachASinkUnderEitherIdentifierOrNone) {
    for (const IID& iid : {DIID___CDLManager, DIID___CDLManager___v0, IID_IDispatch}) {
        TestSink sink(nullptr);
        sink.answersTo = iid;
        const auto point = PointOf(manager.Get(), iid == IID_IDispatch ? DIID___CDLManager : iid);
        const DWORD cookie = Advise(point, sink);
        Add(kUrl);
        EXPECT_GE(sink.events, 1);
        EXPECT_TRUE(sink.wellFormed);
        const int before = sink.events;
        EXPECT_EQ(point->Unadvise(cookie), S_OK);
        EXPECT_EQ(point->Unadvise(cookie), CONNECT_E_NOCONNECTION);
        Add(kUrl);
        EXPECT_EQ(sink.events, before);
        sink.item.Reset();
        EXPECT_EQ(sink.references, 1u);
    }
}

TEST_F(Events, RefuseWhatIsNoSink) {
    TestSink sink(nullptr);
    sink.answersTo = IID__CDLItem;
    const auto point = PointOf(manager.Get());
    DWORD cookie = 5;
    EXPECT_EQ(point->Advise(&sink, &cookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(cookie, 0u);
    EXPECT_EQ(point->Advise(nullptr, &cookie), E_POINTER);
    const auto container =
        host::Query<IConnectionPointContainer>(manager.Get(), IID_IConnectionPointContainer);
    host::ComPtr<IConnectionPoint> none;
    EXPECT_EQ(container->FindConnectionPoint(IID__CDLItem, none.Put()), CONNECT_E_NOCONNECTION);
}

TEST_F(Events, PointsAndConnectionsCanBeWalked) {
    const auto point = PointOf(manager.Get());
    TestSink first(nullptr);
    TestSink second(nullptr);
    const DWORD cookies[] = {Advise(point, first), Advise(point, second)};
    host::ComPtr<IEnumConnections> walk;
    ASSERT_EQ(point->EnumConnections(walk.Put()), S_OK);
    CONNECTDATA seen[3] = {};
    ULONG count = 0;
    EXPECT_EQ(walk->Next(3, seen, &count), S_FALSE);
    ASSERT_EQ(count, 2u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(seen[i].dwCookie, cookies[i]);
        seen[i].pUnk->Release();
    }
    EXPECT_EQ(walk->Reset(), S_OK);
    EXPECT_EQ(walk->Skip(1), S_OK);
    host::ComPtr<IEnumConnections> copy;
    ASSERT_EQ(walk->Clone(copy.Put()), S_OK);
    EXPECT_EQ(copy->Next(1, seen, nullptr), S_OK);
    EXPECT_EQ(seen[0].dwCookie, cookies[1]);
    seen[0].pUnk->Release();
    EXPECT_EQ(walk->Skip(2), S_FALSE);

    const auto container =
        host::Query<IConnectionPointContainer>(manager.Get(), IID_IConnectionPointContainer);
    host::ComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(container->EnumConnectionPoints(points.Put()), S_OK);
    host::ComPtr<IConnectionPoint> only;
    EXPECT_EQ(points->Next(1, only.Put(), nullptr), S_OK);
    EXPECT_EQ(only.Get(), point.Get());
    IID iid{};
    EXPECT_EQ(only->GetConnectionInterface(&iid), S_OK);
    EXPECT_EQ(iid, DIID___CDLManager);
    host::ComPtr<IConnectionPointContainer> owner;
    EXPECT_EQ(only->GetConnectionPointContainer(owner.Put()), S_OK);
    EXPECT_EQ(owner.Get(), container.Get());
    walk.Reset();
    copy.Reset();
    for (const DWORD cookie : cookies) point->Unadvise(cookie);
    EXPECT_EQ(first.references, 1u);
}

TEST_F(Events, ShowTheSameRecordAsTheSameObject) {
    const auto point = PointOf(manager.Get());
    TestSink sink(nullptr);
    const DWORD cookie = Advise(point, sink);
    Add(kUrl);
    const auto first = sink.item;
    Add(kUrl);
    EXPECT_EQ(sink.item.Get(), first.Get());
    Add(u"http://host/b.png");
    EXPECT_NE(sink.item.Get(), first.Get());
    point->Unadvise(cookie);
}

TEST_F(Events, RecordOutlivesItsJobAndItsManager) {
    const auto item = ItemFrom([this] { Add(kUrl); });
    manager.Reset();
    host::Bstr url;
    EXPECT_EQ(item->get_URL(url.Put()), S_OK);
    EXPECT_EQ(url.Text(), kUrl);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
}

TEST_F(Events, SinkMayReenterTheManager) {
    const auto point = PointOf(manager.Get());
    std::u16string inside;
    TestSink sink([&](EXCEPINFO&) {
        if (inside.empty()) {
            inside = u"running";
            inside = Add(u"http://host/b.png");
        }
        return S_OK;
    });
    const DWORD cookie = Advise(point, sink);
    const std::u16string outside = Add(kUrl);
    EXPECT_NE(inside, outside);
    SHORT jobs = 0;
    manager->get_Jobs(&jobs);
    EXPECT_EQ(jobs, 2);
    EXPECT_EQ(sink.events, 2);
    point->Unadvise(cookie);
}

TEST_F(Events, SinkMayConnectAndDisconnectInsideAnEvent) {
    const auto point = PointOf(manager.Get());
    DWORD thirdCookie = 0;
    DWORD cookies[2] = {};
    TestSink third(nullptr);
    TestSink second(nullptr);
    TestSink first([&](EXCEPINFO&) {
        if (thirdCookie == 0) thirdCookie = Advise(point, third);
        point->Unadvise(cookies[1]);
        point->Unadvise(cookies[0]);
        return S_OK;
    });
    cookies[0] = Advise(point, first);
    cookies[1] = Advise(point, second);
    Add(kUrl);
    EXPECT_EQ(first.events, 1);
    EXPECT_EQ(second.events, 0) << "it had left before its turn";
    EXPECT_EQ(third.events, 0) << "it came after the event was raised";
    Add(u"http://host/b.png");
    EXPECT_EQ(first.events, 1);
    EXPECT_EQ(third.events, 1);
    point->Unadvise(thirdCookie);
    first.item.Reset();
    EXPECT_EQ(first.references, 1u);
}

TEST_F(Events, SinkMayReleaseTheManagerInsideAnEvent) {
    TestSink later(nullptr);
    TestSink sink([this](EXCEPINFO&) {
        manager.Reset();
        return S_OK;
    });
    Advise(PointOf(manager.Get()), sink);
    Advise(PointOf(manager.Get()), later);
    _CDLManager* const raw = manager.Get();
    host::Bstr handle;
    EXPECT_EQ(raw->AddURL(host::Bstr(kUrl), nullptr, VARIANT_FALSE, handle.Put()), S_OK);
    EXPECT_FALSE(handle.Text().empty());
    EXPECT_EQ(sink.events, 1);
    EXPECT_EQ(later.events, 0) << "the manager had ended";
    sink.item.Reset();
    EXPECT_EQ(sink.references, 1u);
    EXPECT_EQ(later.references, 1u);
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST_F(Events, FailureOfASinkIsTheRaisersError) {
    const char16_t* const generic = u"Application-defined or object-defined error";
    const struct {
        HRESULT answer;
        WORD code;
        SCODE scode;
        HRESULT expected;
        const char16_t* description;
    } failures[] = {{DISP_E_EXCEPTION, 0, static_cast<SCODE>(0x800A000Du), static_cast<HRESULT>(0x800A000Du),
                     u"its text"},
                    {DISP_E_EXCEPTION, 1234, 0, static_cast<HRESULT>(0x800A04D2u), u"its text"},
                    {DISP_E_EXCEPTION, 0, E_ACCESSDENIED, E_ACCESSDENIED, u"its text"},
                    {E_NOTIMPL, 0, 0, E_NOTIMPL, generic},
                    {DISP_E_MEMBERNOTFOUND, 0, 0, S_OK, u""}};  // who does not know the event has not failed
    for (const auto& failure : failures) {
        TestSink healthy(nullptr);
        TestSink failing([&failure](EXCEPINFO& error) {
            if (failure.answer != DISP_E_EXCEPTION) return failure.answer;
            error.wCode = failure.code;
            error.scode = failure.scode;
            error.bstrSource = SysAllocString(OLESTR("host"));
            error.bstrDescription = SysAllocString(OLESTR("its text"));
            return failure.answer;
        });
        const auto point = PointOf(manager.Get());
        const DWORD cookies[] = {Advise(point, failing), Advise(point, healthy)};
        const Outcome outcome = Call(Late(), DISPID_CDLManager_AddURL, {Value(kUrl)});
        const bool failed = failure.expected != S_OK;
        EXPECT_EQ(outcome.result, failed ? DISP_E_EXCEPTION : S_OK);
        EXPECT_EQ(outcome.scode, failure.expected);
        EXPECT_EQ(outcome.source, failed ? u"CDLManager.AddURL" : u"");
        EXPECT_EQ(outcome.description, failure.description);
        EXPECT_EQ(std::pair(failing.events, healthy.events), std::pair(1, 1)) << "all hear of it";
        for (const DWORD cookie : cookies) point->Unadvise(cookie);
        host::Check(manager->RemoveURL(host::Bstr(HandleOf(kUrl))));
    }
}

TEST_F(Events, HostsHandlersMayThrow) {
    const struct {
        void (*handler)(_CDLItem&);
        HRESULT number;
        std::u16string_view description;
    } rows[] = {{[](_CDLItem&) { throw host::Error(E_ACCESSDENIED, u"host", u"not now"); }, E_ACCESSDENIED,
                 u"not now"},
                {[](_CDLItem&) { throw std::runtime_error("the host's own"); }, E_FAIL, u"the host's own"},
                {[](_CDLItem&) { throw 7; }, E_FAIL, u"Application-defined or object-defined error"}};
    for (const auto& row : rows) {
        const host::Connection connection(manager, {row.handler, {}});
        const Outcome outcome = Call(Late(), DISPID_CDLManager_AddURL, {Value(kUrl)});
        EXPECT_EQ(outcome.scode, row.number);
        EXPECT_EQ(outcome.description, row.description);
    }
}

}  // namespace
}  // namespace tsasync::test
