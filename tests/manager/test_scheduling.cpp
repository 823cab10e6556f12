#include "tests/manager/ManagerTest.h"

#include <cmath>
#include <limits>

// The cases that read well by themselves; test_model goes through the rest.
namespace tsasync {
namespace {

using Scheduling = ManagerTest;

TEST_F(Scheduling, UnknownHandle) {
    const auto error = ErrorOf([&] { manager->ChangeState(u"nobody", tsdStarting); });
    EXPECT_EQ(error.number, -2147219503);
    EXPECT_EQ(error.source, u"CDLManager.ChangeState");
    EXPECT_EQ(error.description, u"");
    EXPECT_EQ(host.Heard(), 0u);
}

TEST_F(Scheduling, DownloadingIsStarting) {
    const auto oI = Add(u"http://host/");
    manager->ChangeState(oI->Handle(), tsdDownloading);
    EXPECT_EQ(oI->State(), tsdStarting);
    EXPECT_EQ(oI->Attempts(), 1);
    EXPECT_EQ(oI->Start(), kTenOClock);
    EXPECT_EQ(testplatform::OpenReads().at(0).nearFolder, u"C:\\Assets");
    EXPECT_EQ(testplatform::OpenReads().at(0).target, u"http://host/");
}

TEST_F(Scheduling, AtTheLimitOnlyForceStarts) {
    const auto oI = Add(u"http://host/");
    manager->SetActiveJobs(3);
    manager->ChangeState(oI->Handle(), tsdStarting, kTenOClock + 1);
    EXPECT_EQ(oI->State(), tsdPending);
    EXPECT_EQ(oI->Start(), kTenOClock + 1);
    EXPECT_EQ(oI->Attempts(), 0);
    manager->ChangeState(oI->Handle(), tsdStarting, {}, true);
    EXPECT_EQ(oI->State(), tsdStarting);
    EXPECT_EQ(oI->Start(), kTenOClock + 1);
    EXPECT_EQ(manager->ActiveJobs(), 4);
}

TEST_F(Scheduling, StoppingMakesRoomForTheFirstDueJob) {
    const auto running = Add(u"http://host/1", tsdDownloading);
    const auto later = Add(u"http://host/2", tsdPending);
    const auto due = Add(u"http://host/3", tsdPending);
    later->SetStart(kTenOClock + 1);
    testplatform::AdvanceSeconds(60);
    manager->ChangeState(running->Handle(), tsdStopped);
    EXPECT_EQ(host.heard,
              (decltype(host.heard){{u"http://host/1", tsdStopped}, {u"http://host/3", tsdStarting}}));
    EXPECT_EQ(running->Start(), kTenOClock + 60.0 / 86400);
    EXPECT_EQ(manager->ActiveJobs(), 1);
    EXPECT_EQ(manager->Elect(), u"");
    testplatform::AdvanceSeconds(86400);
    EXPECT_EQ(manager->Elect(), later->Handle());
    testplatform::AdvanceSeconds(-2 * 86400);
    due->SetState(tsdPending);
    EXPECT_EQ(manager->Elect(), u"");
}

TEST_F(Scheduling, RefusedElectionIsUndoneAndReported) {
    const auto oI = Add(u"http://host/", tsdPending);
    testplatform::RefuseReads(kReadError);
    EXPECT_EQ(manager->Elect(), u"");
    EXPECT_EQ(host.heard, (decltype(host.heard){{u"http://host/", tsdPending}}));
    EXPECT_EQ(oI->Attempts(), 0);
    EXPECT_EQ(manager->ActiveJobs(), 0);
    host.handler = [](const auto&) { throw HostError(5); };
    const auto error = ErrorOf([&] { manager->Elect(); });
    EXPECT_EQ(error.number, 5);
    EXPECT_EQ(error.source, u"CDLManager.Elect");
}

TEST_F(Scheduling, CountersWrapAtSixteenBits) {
    const auto oI = Add(u"http://host/");
    oI->SetAttempts(32767);
    oI->SetRefCount(2147483647);
    manager->SetActiveJobs(32767);
    manager->ChangeState(oI->Handle(), tsdStarting, {}, true);
    EXPECT_EQ(oI->Attempts(), -32768);
    EXPECT_EQ(manager->ActiveJobs(), -32768);
    manager->ChangeState(oI->Handle(), tsdStopped);
    EXPECT_EQ(manager->ActiveJobs(), 32767);
    manager->AddURL(u"http://host/");
    EXPECT_EQ(oI->RefCount(), -2147483647 - 1);
}

TEST_F(Scheduling, AnyNumberIsAState) {
    const auto oI = Add(u"http://host/", tsdDownloading);
    manager->ChangeState(oI->Handle(), static_cast<TSDLStateEnum>(-7),
                         std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(oI->State(), -7);
    EXPECT_TRUE(std::isnan(oI->Start()));
    EXPECT_EQ(manager->ActiveJobs(), 0);
    EXPECT_TRUE(testplatform::OpenReads().empty());
}

}  // namespace
}  // namespace tsasync
