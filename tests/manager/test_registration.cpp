#include "tests/manager/ManagerTest.h"

// What test_model does not see: names, texts, and what errors say.
namespace tsasync {
namespace {

using Registration = ManagerTest;

TEST_F(Registration, FillsTheRecordAndStartsItsReadNearTheFolder) {
    manager->SetAutoStart(true);
    const auto handle = manager->AddURL(u"http://host/", u"My asset");
    EXPECT_EQ(handle, manager->GetHDL(u"http://host/"));
    EXPECT_EQ(manager->AddURL(u"http://host/", u"another name"), handle);
    EXPECT_EQ(std::pair(host.last->Name(), host.last->URL()),
              std::pair(std::u16string(u"My asset"), std::u16string(u"http://host/")));
    ASSERT_EQ(testplatform::OpenReads().size(), 1u);
    EXPECT_EQ(testplatform::OpenReads()[0].nearFolder, u"C:\\Assets");
    EXPECT_EQ(testplatform::OpenReads()[0].target, u"http://host/");
}

TEST_F(Registration, NamelessJobIsNamedByTheTimeOfDay) {
    const std::pair<double, std::u16string> cases[] = {
        {0.3, u"Asset8CA0"}, {0.7, u"Asset8CA1"}, {14 * 3600 - 0.25, u"Asset15180"}};
    for (const auto& [secondsAfterTen, name] : cases) {
        testplatform::SetNow(kTenOClock + secondsAfterTen / 86400);
        manager->AddURL(u"http://host/" + name);
        EXPECT_EQ(host.last->Name(), name);
    }
}

TEST_F(Registration, LookUpsTakeTheUrlAsItIs) {
    EXPECT_NE(manager->GetHDL(u""), u"");
    manager->AddURL(u"");
    manager->AddURL(u"http://host/");
    EXPECT_EQ(manager->HDLbyURL(u""), u"");
    EXPECT_EQ(manager->HDLbyURL(u" http://host/"), u"");
    EXPECT_EQ(manager->Jobs(), 2);
}

// An error of the host's in the event leaves what is done and goes on with the operation's name.
TEST_F(Registration, HostErrorsComeBackWithTheOperationsName) {
    const auto oI = Add(u"http://host/1");
    const auto waiting = Add(u"http://host/2", tsdPending);
    testplatform::RefuseReads(kReadError);
    const std::pair<std::u16string_view, std::function<void()>> cases[] = {
        {u"CDLManager.AddURL", [&] { manager->AddURL(u"http://host/3"); }},
        {u"CDLManager.AddURL", [&] { manager->AddURL(u"http://host/1"); }},
        {u"CDLManager.RemoveURL", [&] { manager->RemoveURL(oI->Handle()); }},
        {u"CDLManager.ChangeState", [&] { manager->ChangeState(oI->Handle(), tsdBroken); }},
        {u"CDLManager.Elect", [&] { manager->Elect(); }},
    };
    for (const auto number : {1234, 5, 457}) {
        for (const auto& [source, operation] : cases) {
            oI->SetRefCount(2);
            host.handler = [&](const auto&) { throw HostError(number); };
            const auto error = ErrorOf(operation);
            host.handler = nullptr;
            const auto given = HostError(number);
            EXPECT_EQ(error.source, source);
            EXPECT_EQ(std::tuple(error.number, error.description, error.helpFile, error.helpContext),
                      std::tuple(number, given.description, given.helpFile, given.helpContext));
        }
        EXPECT_EQ(oI->State(), tsdBroken);
        EXPECT_EQ(waiting->Attempts(), 0);
        EXPECT_EQ(manager->Jobs(), 3);
    }
}

}  // namespace
}  // namespace tsasync
