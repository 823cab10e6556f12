#include "tests/manager/ManagerTest.h"

namespace tsasync {
namespace {

using Registration = ManagerTest;

TEST_F(Registration, NewJob) {
    const struct {
        bool autoStart;
        bool refuse;
        std::int16_t active;
        std::int16_t activeAfter;
        std::int16_t attempts;
        TSDLStateEnum state;
    } cases[] = {
        {false, false, 0, 0, 0, tsdStopped},        {true, false, 0, 1, 1, tsdStarting},
        {true, false, 2, 3, 1, tsdStarting},        {true, false, 3, 3, 0, tsdPending},
        {true, false, -1, 0, 1, tsdStarting},       {true, true, 0, 0, 0, tsdPending},
        {true, false, 32767, 32767, 0, tsdPending},
    };
    char16_t name = u'a';
    for (const auto& c : cases) {
        const std::u16string url = u"http://host/" + std::u16string(1, name++);
        manager->SetAutoStart(c.autoStart);
        manager->SetActiveJobs(c.active);
        testplatform::RefuseReads(c.refuse ? kReadError : 0);
        EXPECT_EQ(manager->AddURL(url, u"My asset"), manager->GetHDL(url));
        const CDLItem& item = *host.last;
        EXPECT_EQ(item.State(), c.state);
        EXPECT_EQ(item.Attempts(), c.attempts);
        EXPECT_EQ(manager->ActiveJobs(), c.activeAfter);
        EXPECT_EQ(item.RefCount(), 1);
        EXPECT_EQ(item.Start(), kTenOClock);
        EXPECT_EQ(item.Name(), u"My asset");
        EXPECT_EQ(item.URL(), url);
        EXPECT_EQ(host.Heard(), 1u);
        EXPECT_EQ(testplatform::IsReading(Key(host.last)), c.state == tsdStarting);
    }
}

TEST_F(Registration, ReferencedAgain) {
    const struct {
        TSDLStateEnum state;
        TSDLStateEnum after;
        std::int16_t attempts;  // 7 before
        bool autoStart;
    } cases[] = {
        {tsdStopped, tsdStopped, 7, false},   {tsdStopped, tsdStarting, 8, true},
        {tsdPending, tsdStopped, 7, false},   {tsdPending, tsdStarting, 8, true},
        {tsdBroken, tsdStopped, 0, false},    {tsdBroken, tsdStarting, 1, true},
        {tsdFinished, tsdFinished, 7, true},  {tsdDownloading, tsdDownloading, 7, true},
        {tsdStarting, tsdStarting, 7, false}, {static_cast<TSDLStateEnum>(9), tsdStarting, 8, true},
    };
    char16_t name = u'a';
    for (const auto& c : cases) {
        const std::u16string url = u"http://host/" + std::u16string(1, name++);
        const auto oI = Add(url, c.state);
        oI->SetAttempts(7);
        oI->SetStart(5);
        oI->SetName(u"old");
        manager->SetAutoStart(c.autoStart);
        manager->SetActiveJobs(0);
        const auto handle = oI->Handle();
        EXPECT_EQ(manager->AddURL(url, u"new"), handle);
        EXPECT_EQ(host.last, oI);
        EXPECT_EQ(host.Heard(), 2u) << c.state;
        EXPECT_EQ(oI->State(), c.after) << c.state;
        EXPECT_EQ(oI->Attempts(), c.attempts) << c.state;
        EXPECT_EQ(oI->RefCount(), 2);
        EXPECT_EQ(oI->Name(), u"old");
        EXPECT_EQ(oI->Start(), 5);
        manager->SetAutoStart(false);
    }
}

TEST_F(Registration, NamelessJobIsNamedByTheTimeOfDay) {
    const struct {
        double secondsAfterTen;
        std::u16string_view name;
    } cases[] = {{0.3, u"Asset8CA0"}, {0.7, u"Asset8CA1"}, {14 * 3600 - 0.25, u"Asset15180"}};
    for (const auto& c : cases) {
        testplatform::SetNow(kTenOClock + c.secondsAfterTen / 86400);
        manager->AddURL(u"http://host/" + std::u16string(c.name));
        EXPECT_EQ(host.last->Name(), c.name);
    }
}

TEST_F(Registration, LookUps) {
    EXPECT_EQ(manager->HDLbyURL(u""), u"");
    EXPECT_NE(manager->GetHDL(u""), u"");
    EXPECT_EQ(manager->HDLbyURL(u"http://host/"), u"");
    manager->AddURL(u"");
    EXPECT_EQ(manager->HDLbyURL(u""), u"");
    manager->AddURL(u"http://host/");
    EXPECT_EQ(manager->HDLbyURL(u"http://host/"), manager->GetHDL(u"http://host/"));
    EXPECT_EQ(manager->HDLbyURL(u" http://host/"), u"");
    EXPECT_EQ(manager->Jobs(), 2);
}

TEST_F(Registration, RemoveReleasesOneRegistration) {
    manager->AddURL(u"http://host/");
    manager->AddURL(u"http://host/");
    const auto oI = host.last;
    oI->SetState(tsdDownloading);
    host.Heard();
    manager->RemoveURL(oI->Handle());
    EXPECT_EQ(oI->RefCount(), 1);
    EXPECT_EQ(host.Heard(), 1u);
    EXPECT_EQ(oI->State(), tsdDownloading);
    manager->RemoveURL(oI->Handle());
    EXPECT_EQ(host.Heard(), 0u);
    EXPECT_EQ(oI->State(), tsdStopped);
    EXPECT_EQ(manager->Jobs(), 0);
    const auto error = ErrorOf([&] { manager->RemoveURL(oI->Handle()); });
    EXPECT_EQ(error.number, 5);
    EXPECT_EQ(error.source, u"CDLManager.RemoveURL");
}

// An error of the host's in the event leaves what is done and goes on with the operation's name.
TEST_F(Registration, HostErrorsComeBackWithTheOperationsName) {
    const auto oI = Add(u"http://host/1");
    const auto waiting = Add(u"http://host/2", tsdPending);
    const struct {
        std::u16string_view source;
        std::function<void()> operation;
    } cases[] = {
        {u"CDLManager.AddURL", [&] { manager->AddURL(u"http://host/3"); }},
        {u"CDLManager.AddURL", [&] { manager->AddURL(u"http://host/1"); }},
        {u"CDLManager.RemoveURL", [&] { manager->RemoveURL(oI->Handle()); }},
        {u"CDLManager.ChangeState", [&] { manager->ChangeState(oI->Handle(), tsdBroken); }},
    };
    for (const auto number : {1234, 5, 457}) {
        for (const auto& c : cases) {
            oI->SetRefCount(2);
            host.handler = [&](const auto&) { throw HostError(number); };
            const auto error = ErrorOf(c.operation);
            host.handler = nullptr;
            EXPECT_EQ(error.number, number);
            EXPECT_EQ(error.source, c.source);
            EXPECT_EQ(error.description, u"what the host said");
            EXPECT_EQ(error.helpFile, u"host.hlp");
            EXPECT_EQ(error.helpContext, 77);
        }
        EXPECT_EQ(oI->State(), tsdBroken);
        EXPECT_EQ(waiting->State(), tsdPending);  // nothing was elected after the error
        EXPECT_EQ(manager->Jobs(), 3);
    }
}

}  // namespace
}  // namespace tsasync
