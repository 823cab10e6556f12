#include "tests/manager/ManagerTest.h"

namespace tsasync {
namespace {

using platform::ProgressControl;

constexpr double kThreeMinutes = 3.0 / (24 * 60);
const platform::FileOpResult kMoveAborted{0, true};
const platform::FileOpResult kMoveCancelled{platform::kOpCancelled, false};
const platform::FileOpResult kMoveUnknown{platform::kOpUnknownError, false};
const platform::FileOpResult kMoveCode7{7, false};
const platform::FileOpResult kMoveOther{124, false};

using Outcome = ManagerTest;

TEST_F(Outcome, ProgressFillsTheRecord) {
    const auto oI = Add(u"http://host/a", tsdStarting);
    const struct {
        platform::AsyncProperty property;
        TSDLStateEnum state;
        std::int32_t size;
        std::int32_t total;
    } cases[] = {
        {testplatform::Status(Key(oI), platform::kStatusConnecting, u"host"), tsdStarting, 0, 0},
        {testplatform::Status(Key(oI), platform::kStatusMimeTypeAvailable, u"image/png"), tsdStarting, 0, 0},
        {testplatform::Status(Key(oI), platform::kStatusBeginDownload), tsdDownloading, 0, 0},
        {testplatform::Bytes(Key(oI), 10, 100), tsdDownloading, 10, 100},
        {testplatform::Bytes(Key(oI), 50, 0), tsdDownloading, 50, 0},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(FireProgress(c.property));
        EXPECT_EQ(oI->State(), c.state);
        EXPECT_EQ(oI->Size(), c.size);
        EXPECT_EQ(oI->TotalSize(), c.total);
        EXPECT_EQ(host.Heard(), 1u);
    }
    EXPECT_EQ(oI->MIMEType(), u"image/png");
}

TEST_F(Outcome, ProgressAndCompletionElect) {
    const auto oI = Add(u"http://host/a", tsdStarting);
    const auto second = Add(u"http://host/b", tsdPending);
    const auto third = Add(u"http://host/c", tsdPending);
    FireProgress(testplatform::Status(Key(oI), platform::kStatusConnecting));
    EXPECT_EQ(host.heard,
              (decltype(host.heard){{u"http://host/a", tsdStarting}, {u"http://host/b", tsdStarting}}));
    host.Heard();
    Complete(oI);
    EXPECT_EQ(host.heard,
              (decltype(host.heard){{u"http://host/a", tsdFinished}, {u"http://host/c", tsdStarting}}));
    EXPECT_EQ(manager->ActiveJobs(), 2);
}

TEST_F(Outcome, FileName) {
    const struct {
        std::u16string_view target;  // the URL finally read
        std::u16string_view type;
        std::u16string_view name;
    } cases[] = {
        {u"http://host/photo.jpg", u"image/png", u"photo.png"},
        {u"http://host/photo.jpg", u"application/x-nobody-knows", u"photo.dat"},
        {u"http://host/photo.jpg", u"", u"photo"},
        {u"http://host/a.b.c", u"image/gif", u"a.b.gif"},
        {u"http://host/photo", u"image/png", u"photo.png"},
        {u"http://host/", u"image/gif", u"QMA8CA0.gif"},
        {u"http://host", u"", u"QMA8CA0"},
        {u"http://host/..%5c..%5cevil.exe", u"image/gif", u""},  // whatever it is, it stays in the folder
    };
    for (const auto& c : cases) {
        testplatform::ResetFileSystem();
        const auto oI = Add(u"http://first/redirects.to", tsdStarting);
        oI->SetMIMEType(c.type);
        testplatform::PutFile(u"C:\\Cache\\1", "data");
        EXPECT_FALSE(FireComplete(testplatform::Done(Key(oI), u"C:\\Cache\\1", c.target, 4)));
        EXPECT_EQ(oI->State(), tsdFinished);
        EXPECT_EQ(oI->URL(), c.target);
        EXPECT_EQ(oI->TmpPath(), u"C:\\Cache\\1");
        EXPECT_EQ(oI->Size(), 4);
        if (!c.name.empty()) {
            EXPECT_EQ(oI->FinalPath(), u"C:\\Assets\\" + std::u16string(c.name));
        }
        EXPECT_EQ(testplatform::List(u"C:\\Assets").size(), 1u);
        EXPECT_EQ(testplatform::ContentOf(oI->FinalPath()), "data");
        EXPECT_FALSE(testplatform::Exists(u"C:\\Cache\\1"));
        manager->RemoveURL(oI->Handle());
    }
}

TEST_F(Outcome, Folder) {
    const struct {
        std::u16string_view path;
        bool exists;
        std::u16string_view pathAfter;
        std::u16string_view finalPath;
        std::int32_t flags;  // as passed on to the system, without renaming, which the component does itself
    } cases[] = {
        {u" C:\\There\\ ", true, u"C:\\There", u"C:\\There\\f", 4 | 16},
        {u"C:\\Not\\there\\", false, u"C:\\Not\\there", u"C:\\Not\\there\\f", 4 | 16 | 512},
        {u"Z:", false, u"Z:", u"C:\\Cache\\1", -1},
    };
    for (const auto& c : cases) {
        testplatform::ResetFileSystem();
        if (c.exists) testplatform::PutFolder(u"C:\\There");
        manager->SetAssetsPath(c.path);
        const auto oI = Add(u"http://host/f", tsdStarting);
        EXPECT_FALSE(Complete(oI));
        EXPECT_EQ(oI->State(), tsdFinished);
        EXPECT_EQ(oI->FinalPath(), c.finalPath);
        EXPECT_EQ(manager->AssetsPath(), c.pathAfter);
        if (c.flags < 0) {
            EXPECT_TRUE(testplatform::Operations().empty());
        } else {
            EXPECT_EQ(testplatform::Operations().back().flags, c.flags);
        }
        manager->RemoveURL(oI->Handle());
    }
}

TEST_F(Outcome, TakenNameIsKept) {
    testplatform::PutFile(u"C:\\Assets\\photo", "mine");
    const auto oI = Add(u"http://host/photo.jpg", tsdStarting);
    Complete(oI);
    EXPECT_EQ(testplatform::ContentOf(u"C:\\Assets\\photo"), "mine");
    EXPECT_NE(oI->FinalPath(), u"C:\\Assets\\photo");
    EXPECT_EQ(testplatform::ContentOf(oI->FinalPath()), "data");
}

TEST_F(Outcome, FailureByCause) {
    const struct {
        std::optional<platform::FileOpResult> move;  // nothing: the read fails
        std::int16_t attempts;
        TSDLStateEnum state;
    } cases[] = {
        {{}, 1, tsdPending},           {{}, 9, tsdPending},
        {{}, 10, tsdBroken},           {{}, 11, tsdBroken},
        {{}, -1, tsdPending},          {kMoveOther, 1, tsdBroken},
        {kMoveAborted, 1, tsdBroken},  {kMoveCancelled, 1, tsdBroken},
        {kMoveCode7, 1, tsdPending},   {kMoveUnknown, 1, tsdPending},
        {kMoveUnknown, 10, tsdBroken},
    };
    for (const auto& c : cases) {
        const auto oI = Add(u"http://host/f", tsdDownloading);
        Add(u"http://host/g", tsdPending);
        oI->SetAttempts(c.attempts);
        if (c.move) testplatform::FailNextOperation(*c.move);
        EXPECT_FALSE(c.move ? Complete(oI) : Fail(oI));
        EXPECT_EQ(oI->State(), c.state);
        EXPECT_EQ(oI->Attempts(), c.attempts);
        EXPECT_EQ(manager->ActiveJobs(), 0);
        if (c.state == tsdPending) {
            EXPECT_DOUBLE_EQ(oI->Start(), kTenOClock + kThreeMinutes);
        }
        EXPECT_EQ(host.heard, (decltype(host.heard){{u"http://host/f", c.state}}));  // no election
        host.last->SetRefCount(1);
        manager->RemoveURL(oI->Handle());
        manager->RemoveURL(manager->HDLbyURL(u"http://host/g"));
        manager->SetActiveJobs(0);
    }
}

TEST_F(Outcome, MissingFileIsTriedAgain) {
    const auto oI = Add(u"http://host/f", tsdDownloading);
    EXPECT_FALSE(FireComplete(testplatform::Done(Key(oI), u"C:\\Cache\\none", u"http://host/f")));
    EXPECT_EQ(oI->State(), tsdPending);
    EXPECT_EQ(oI->TmpPath(), u"C:\\Cache\\none");
}

TEST_F(Outcome, ErrorStatusStopsTheReadAndTriesAgain) {
    for (const std::int32_t number : {kReadError, 0, 13}) {
        const auto oI = Add(u"http://host/f", tsdDownloading);
        EXPECT_FALSE(FireProgress(testplatform::Error(Key(oI), number)));
        EXPECT_EQ(oI->State(), tsdPending);
        EXPECT_DOUBLE_EQ(oI->Start(), kTenOClock + kThreeMinutes);
        EXPECT_EQ(manager->ActiveJobs(), 0);
        EXPECT_TRUE(testplatform::OpenReads().empty());
        EXPECT_EQ(host.Heard(), 1u);
        manager->RemoveURL(oI->Handle());
    }
}

TEST_F(Outcome, TenStartsThreeMinutesApart) {
    const auto oI = Add(u"http://host/f", tsdStarting);
    for (int start = 1; start <= 10; ++start) {
        EXPECT_EQ(oI->Attempts(), start);
        EXPECT_TRUE(testplatform::IsReading(Key(oI)));
        Fail(oI);
        EXPECT_EQ(manager->Elect(), u"");
        testplatform::AdvanceSeconds(181);
        EXPECT_EQ(manager->Elect().empty(), start == 10);
    }
    EXPECT_EQ(oI->State(), tsdBroken);
    EXPECT_EQ(manager->ActiveJobs(), 0);
}

TEST_F(Outcome, UnknownKeysGoBackAsErrors) {
    const auto oI = Add(u"http://host/f", tsdDownloading);
    const auto key = Key(oI);
    // The registry forgets the job; the control still knows the read.
    oI->SetState(tsdStopped);
    manager->RemoveURL(oI->Handle());
    ASSERT_TRUE(testplatform::IsReading(key));
    manager->SetActiveJobs(5);
    auto error = FireProgress(testplatform::Bytes(key, 1, 1)).value();
    EXPECT_EQ(error.number, -2147219501);
    EXPECT_EQ(error.source, u"CDLManager.FileReadProgress");
    EXPECT_EQ(manager->ActiveJobs(), 5);
    error = FireComplete(testplatform::Done(key, u"C:\\Cache\\1", u"")).value();
    EXPECT_EQ(error.number, 2001);
    EXPECT_EQ(error.source, u"CDLManager.FileReadComplete");
    EXPECT_EQ(manager->ActiveJobs(), 4);
    EXPECT_EQ(host.Heard(), 0u);
}

// What the host raises in the event meets the handlers like any failure of the transfer.
TEST_F(Outcome, HostErrorDuringProgress) {
    for (const std::int32_t number : {1234, 5}) {
        const auto oI = Add(u"http://host/f", tsdStarting);
        host.handler = [&](const auto&) { throw HostError(number); };
        const auto error = FireProgress(testplatform::Bytes(Key(oI), 1, 9));
        host.handler = nullptr;
        EXPECT_EQ(error ? error->number : 0, number == 5 ? -2147219501 : 0);
        EXPECT_EQ(oI->State(), number == 5 ? tsdDownloading : tsdPending);
        EXPECT_EQ(manager->ActiveJobs(), 1);
        EXPECT_TRUE(testplatform::IsReading(Key(oI)));
        EXPECT_FALSE(FireProgress(testplatform::Bytes(Key(oI), 2, 9)));  // the flag is clear again
        EXPECT_EQ(oI->Size(), 2);
        Complete(oI);
        manager->RemoveURL(oI->Handle());
        host.Heard();
    }
}

TEST_F(Outcome, HostErrorDuringCompletion) {
    const struct {
        std::int32_t number;
        std::int32_t back;
        TSDLStateEnum state;
    } cases[] = {{1234, 1234, tsdPending}, {5, 2001, tsdFinished}, {10001, 10001, tsdBroken}};
    for (const auto& c : cases) {
        const auto oI = Add(u"http://host/f", tsdStarting);
        host.handler = [&](const auto&) { throw HostError(c.number); };
        const auto error = Complete(oI).value();
        host.handler = nullptr;
        EXPECT_EQ(error.number, c.back);
        EXPECT_EQ(oI->State(), c.state);
        manager->ChangeState(oI->Handle(), tsdStarting);
        EXPECT_FALSE(Complete(oI));  // the flag is clear again
        EXPECT_EQ(oI->State(), tsdFinished);
        manager->RemoveURL(oI->Handle());
    }
}

TEST_F(Outcome, EveryManagerActsOnEveryNotification) {
    Host otherHost;
    const auto other = CDLManager::Create(otherHost);
    other->SetAssetsPath(u"C:\\Other");
    const auto oI = Add(u"http://host/f", tsdStarting);
    FireProgress(testplatform::Bytes(Key(oI), 1, 4));
    EXPECT_EQ(host.Heard(), 1u);
    EXPECT_EQ(otherHost.Heard(), 1u);
    // The first one moves the file; the second one finds none and tries the job again.
    Complete(oI);
    EXPECT_EQ(host.heard.at(0).second, tsdFinished);
    EXPECT_EQ(otherHost.heard.at(0).second, tsdPending);
    EXPECT_EQ(manager->ActiveJobs(), 0);
    EXPECT_EQ(other->ActiveJobs(), -1);
    other->Terminate();
}

class Forced : public ManagerTest {
  protected:
    // AddURL with Force; while its dialog is shown, `act` runs once.
    std::u16string Force(std::u16string_view url, const std::function<void()>& act) {
        testplatform::ProgressWindows().whileShown = [act] {
            act();
            return testplatform::LastProgressWindow().unloaded;
        };
        return manager->AddURL(url, u"", true);
    }
    std::shared_ptr<CDLItem> job;  // of the latest event
    Forced() {
        host.handler = [this](const auto& oI) { job = oI; };
    }
    std::u16string KeyOf(std::u16string_view url) { return u"[" + manager->GetHDL(url) + u"]"; }
};

TEST_F(Forced, RunsAtOnceBehindItsDialogUntilTheFileIsInPlace) {
    manager->SetActiveJobs(3);
    const std::u16string key = KeyOf(u"http://host/f.bin");
    const auto handle = Force(u"http://host/f.bin", [&] {
        EXPECT_EQ(manager->ActiveJobs(), 4);
        EXPECT_EQ(testplatform::LastProgressWindow().captions.at(ProgressControl::Dest),
                  u"C:\\Assets\\f.bin");
        EXPECT_FALSE(FireProgress(testplatform::Bytes(key, 1, 4)));
        EXPECT_EQ(testplatform::LastProgressWindow().refreshes, 1);
        EXPECT_EQ(job->State(), tsdDownloading);
        host.Once([&](const auto& oI) {
            // By the time the host hears of the end the dialog is gone.
            EXPECT_EQ(oI->State(), tsdFinished);
            EXPECT_TRUE(testplatform::LastProgressWindow().unloaded);
            EXPECT_EQ(oI->ProgressForm(), nullptr);
        });
        EXPECT_FALSE(Complete(job));
    });
    EXPECT_EQ(handle, manager->GetHDL(u"http://host/f.bin"));
    EXPECT_EQ(host.Heard(), 3u);
    EXPECT_EQ(testplatform::LiveProgressWindows(), 0);
}

TEST_F(Forced, CancelStopsTheJob) {
    for (const bool byButton : {true, false}) {
        const auto handle = Force(u"http://host/f", [&] {
            testplatform::AdvanceSeconds(60);
            byButton ? testplatform::PressCancel() : testplatform::CloseProgressWindow();
        });
        EXPECT_EQ(handle, u"");
        EXPECT_EQ(job->State(), tsdStopped);
        EXPECT_DOUBLE_EQ(job->Start(), kTenOClock + (byButton ? 60.0 : 120.0) / 86400);
        EXPECT_EQ(manager->ActiveJobs(), 0);
        EXPECT_TRUE(testplatform::OpenReads().empty());
    }
    EXPECT_EQ(host.Heard(), 2u + 3u);
}

TEST_F(Forced, CancelOfAJobThatDoesNotRunOnlyReports) {
    for (const auto state : {tsdPending, tsdFinished, tsdBroken}) {
        const std::u16string key = KeyOf(u"http://host/f");
        const auto handle = Force(u"http://host/f", [&] {
            manager->ChangeState(manager->GetHDL(u"http://host/f"), state, kTenOClock + 1);
            host.Heard();
            testplatform::PressCancel();
            EXPECT_EQ(host.Heard(), 1u);
        });
        EXPECT_EQ(handle, manager->GetHDL(u"http://host/f"));
        EXPECT_EQ(job->State(), state);
        EXPECT_EQ(job->Start(), kTenOClock + 1);
        manager->RemoveURL(handle);
    }
}

TEST_F(Forced, CancelErrors) {
    const struct {
        bool removed;  // the job leaves the registry under its dialog
        std::int32_t hostError;
        std::int32_t number;
    } cases[] = {{true, 0, -2147219503}, {false, 1234, 1234}, {false, 5, -2147219503}};
    for (const auto& c : cases) {
        AutomationError error;
        Force(u"http://host/f", [&] {
            if (c.removed) {
                job = nullptr;
                manager->ChangeState(manager->GetHDL(u"http://host/f"), tsdStopped);
                manager->RemoveURL(manager->GetHDL(u"http://host/f"));
            }
            if (c.hostError != 0) host.Once([&](const auto&) { throw HostError(c.hostError); });
            error = ErrorOf([] { testplatform::PressCancel(); });
            if (!testplatform::LastProgressWindow().unloaded) testplatform::CloseProgressWindow();
        });
        EXPECT_EQ(error.number, c.number);
        EXPECT_EQ(error.source, u"CDLManager.frmP.Cancel");
        host.handler = [this](const auto& oI) { job = oI; };
        if (!c.removed) manager->RemoveURL(manager->GetHDL(u"http://host/f"));
    }
}

TEST_F(Forced, RefusedStartShowsNothing) {
    testplatform::RefuseReads(kReadError);
    EXPECT_EQ(manager->AddURL(u"http://host/f", u"", true), manager->GetHDL(u"http://host/f"));
    EXPECT_EQ(job->State(), tsdPending);
    EXPECT_EQ(job->Attempts(), 0);
    EXPECT_EQ(job->ProgressForm(), nullptr);
    EXPECT_EQ(testplatform::LastProgressWindow().shows, 0);
    EXPECT_EQ(testplatform::LiveProgressWindows(), 0);
    EXPECT_EQ(host.Heard(), 1u);
}

TEST_F(Forced, DialogThatCannotLoadLeavesWhatWasDone) {
    testplatform::ProgressWindows().loadError = 7;
    const auto error = ErrorOf([&] { manager->AddURL(u"http://host/f", u"", true); });
    EXPECT_EQ(error.number, 7);
    EXPECT_EQ(error.source, u"CDLManager.AddURL");
    EXPECT_EQ(manager->Jobs(), 1);
    EXPECT_EQ(manager->ActiveJobs(), 0);
    EXPECT_EQ(host.Heard(), 0u);
    manager->ChangeState(manager->GetHDL(u"http://host/f"), tsdStarting);  // without a dialog it runs
    FireProgress(testplatform::Bytes(KeyOf(u"http://host/f"), 1, 4));
    EXPECT_EQ(job->State(), tsdDownloading);
}

TEST_F(Forced, FailuresRestartAtOnceNineTimes) {
    for (const bool byProgress : {false, true}) {
        const std::u16string key = KeyOf(u"http://host/f");
        int failures = 0;
        const auto handle = Force(u"http://host/f", [&] {
            while (!testplatform::LastProgressWindow().unloaded) {
                ASSERT_TRUE(testplatform::IsReading(key));
                EXPECT_EQ(manager->ActiveJobs(), 1);
                ++failures;
                byProgress ? FireProgress(testplatform::Error(key, kReadError))
                           : FireComplete(testplatform::Failed(key, kReadError));
            }
        });
        EXPECT_EQ(failures, 10);
        EXPECT_EQ(handle, manager->GetHDL(u"http://host/f"));
        EXPECT_EQ(job->State(), tsdBroken);
        EXPECT_EQ(manager->ActiveJobs(), 0);
        manager->RemoveURL(handle);
    }
}

TEST_F(Forced, RefusedRestartWaits) {
    Force(u"http://host/f", [&] {
        testplatform::RefuseReads(kReadError);
        FireComplete(testplatform::Failed(KeyOf(u"http://host/f"), kReadError));
        EXPECT_EQ(job->State(), tsdPending);
        EXPECT_EQ(job->Attempts(), 1);
        EXPECT_EQ(job->Start(), kTenOClock);
        EXPECT_EQ(manager->ActiveJobs(), 0);
        EXPECT_FALSE(testplatform::LastProgressWindow().unloaded);
        testplatform::PressCancel();
    });
}

TEST_F(Forced, BrokenMoveLeavesTheDialogToTheUser) {
    for (const bool user : {true, false}) {
        testplatform::ProgressWindows().userCanClose = user;
        const auto handle = Force(u"http://host/f", [&] {
            testplatform::FailNextOperation(kMoveAborted);
            FireProgress(testplatform::Bytes(KeyOf(u"http://host/f"), 1, 1));
            Complete(job);
            EXPECT_EQ(job->State(), tsdBroken);
            EXPECT_EQ(testplatform::LastProgressWindow().unloaded, !user);
            if (user) testplatform::CloseProgressWindow();
        });
        EXPECT_EQ(job->State(), tsdBroken);
        EXPECT_EQ(handle, manager->GetHDL(u"http://host/f"));
    }
}

TEST_F(Forced, RemovalEndsTheWait) {
    const auto handle =
        Force(u"http://host/f", [&] { manager->RemoveURL(manager->GetHDL(u"http://host/f")); });
    EXPECT_EQ(handle, u"");
    EXPECT_EQ(manager->Jobs(), 0);
    EXPECT_EQ(job->State(), tsdStopped);
    EXPECT_EQ(job->ProgressForm(), nullptr);
    EXPECT_EQ(host.Heard(), 1u);  // AddURL's own, at its end
}

TEST_F(Forced, SecondForceOnTheSameJobShowsNothing) {
    Force(u"http://host/f", [&] {
        EXPECT_EQ(manager->AddURL(u"http://host/f", u"", true), manager->GetHDL(u"http://host/f"));
        EXPECT_EQ(testplatform::LastProgressWindow().shows, 1);
        testplatform::PressCancel();
    });
}

}  // namespace
}  // namespace tsasync
