#include "platform/settings_store.h"
#include "tests/manager/ManagerTest.h"
#include "tests/platform/app_log.h"
#include "tests/platform/special_folders.h"

#include <thread>

namespace tsasync {
namespace {

using Lifecycle = ManagerTest;

TEST_F(Lifecycle, AssetsFolderComesFromTheSettingsOrTheDocuments) {
    const struct {
        std::u16string_view stored, documents, expected;
    } cases[] = {
        {u"", u"C:\\Users\\me\\Documents", u"C:\\Users\\me\\Documents\\Quillmark Assets"},
        {u"", u"", u"\\Quillmark Assets"},
        {u" D:\\My assets\\ ", u"C:\\Users\\me\\Documents", u" D:\\My assets\\ "},
    };
    for (const auto& c : cases) {
        testplatform::ClearSettings();
        testplatform::SetSpecialFolder(5, c.documents);
        platform::WriteSetting(platform::kCurrentUserRoot, u"Software\\Corvane\\Quillmark\\Assets",
                               u"Location", c.stored);
        const auto other = CDLManager::Create(host);
        EXPECT_EQ(other->AssetsPath(), c.expected);
        EXPECT_FALSE(other->AutoStart());
        EXPECT_EQ(other->ActiveJobs(), 0);
        other->Terminate();
    }
}

TEST_F(Lifecycle, ManagersOfAThreadShareJobsUntilTheLastEnds) {
    Host otherHost;
    const auto other = CDLManager::Create(otherHost);
    const auto running = Add(u"http://a/1", tsdDownloading);
    const auto idle = Add(u"http://a/2");
    EXPECT_EQ(other->HDLbyURL(u"http://a/1"), running->Handle());
    EXPECT_EQ(other->Jobs(), 2);
    EXPECT_EQ(other->ActiveJobs(), 0);

    manager->Terminate();
    host.Heard();
    EXPECT_EQ(other->Jobs(), 2);
    EXPECT_TRUE(testplatform::IsReading(Key(running)));
    EXPECT_FALSE(FireProgress(testplatform::Bytes(Key(running), 1, 2)));
    EXPECT_EQ(otherHost.Heard(), 1u);

    other->Terminate();
    EXPECT_TRUE(testplatform::OpenReads().empty());
    EXPECT_EQ(host.Heard() + otherHost.Heard(), 0u);
    EXPECT_EQ(running->State(), tsdDownloading);

    manager = CDLManager::Create(host);
    EXPECT_EQ(manager->Jobs(), 0);
    const auto again = Add(u"http://a/1", tsdStarting);
    EXPECT_FALSE(Complete(again));
    EXPECT_EQ(again->State(), tsdFinished);
}

TEST_F(Lifecycle, ReleaseGoesByPlaceWhateverAHostWroteIntoRecords) {
    const auto first = Add(u"http://a/1", tsdStarting);
    first->SetHandle(u"");
    Add(u"http://a/2", tsdStarting);
    manager->Terminate();
    ASSERT_EQ(testplatform::OpenReads().size(), 1u);  // the read whose name nobody knows any more
    const std::u16string key = testplatform::OpenReads().front().name;
    EXPECT_FALSE(FireComplete(testplatform::Done(key, u"C:\\Cache\\1", u"http://a/1")));
}

TEST_F(Lifecycle, ManagerDroppedAfterItsThreadsStateIsGone) {
    // Made before the state, so it ends after it, as a static object of a host does.
    struct Late {
        Host host;
        std::shared_ptr<CDLManager> manager;
    };
    std::thread([] {
        thread_local Late late;
        late.manager = CDLManager::Create(late.host);
        late.manager->AddURL(u"http://a/");
        late.manager->SetAutoStart(true);
        late.manager->AddURL(u"http://b/");
    }).join();
}

TEST_F(Lifecycle, LogIsPassedThrough) {
    testplatform::ResetLog();
    manager->StartLog(u"", 0);
    manager->StartLog(u"C:\\x.log", 2 | 16 | 32);
    ASSERT_EQ(testplatform::LogStarts().size(), 2u);
    EXPECT_EQ(testplatform::LogStarts()[0].target, u"");
    EXPECT_EQ(testplatform::LogStarts()[1].target, u"C:\\x.log");
    EXPECT_EQ(testplatform::LogStarts()[1].mode, 50);
    testplatform::RefuseLog(76);
    const auto error = ErrorOf([&] { manager->StartLog(u"Q:\\no", 2); });
    EXPECT_EQ(error.number, 76);
    EXPECT_EQ(error.source, u"");
    testplatform::ResetLog();
}

}  // namespace
}  // namespace tsasync
