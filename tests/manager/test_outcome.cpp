#include "tests/manager/ManagerTest.h"

namespace tsasync {
namespace {

using namespace testplatform;  // NOLINT(google-build-using-namespace)
using platform::ProgressControl;

using Outcome = ManagerTest;

TEST_F(Outcome, ProgressTellsTheType) {
    const auto oI = Add(u"http://host/a", tsdStarting);
    FireProgress(Status(Key(oI), platform::kStatusMimeTypeAvailable, u"image/png"));
    EXPECT_EQ(oI->MIMEType(), u"image/png");
}

TEST_F(Outcome, FileName) {
    const struct {
        std::u16string_view target;  // the URL finally read
        std::u16string_view type, name;
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
        ResetFileSystem();
        const auto oI = Add(u"http://first/redirects.to", tsdStarting);
        oI->SetMIMEType(c.type);
        PutFile(u"C:\\Cache\\1", "data");
        EXPECT_FALSE(FireComplete(Done(Key(oI), u"C:\\Cache\\1", c.target, 4)));
        EXPECT_EQ(oI->URL(), c.target);
        EXPECT_EQ(oI->TmpPath(), u"C:\\Cache\\1");
        if (!c.name.empty()) {
            EXPECT_EQ(oI->FinalPath(), u"C:\\Assets\\" + std::u16string(c.name));
        }
        EXPECT_EQ(List(u"C:\\Assets").size(), 1u);
        EXPECT_EQ(ContentOf(oI->FinalPath()), "data");
        EXPECT_FALSE(Exists(u"C:\\Cache\\1"));
        manager->RemoveURL(oI->Handle());
    }
}

TEST_F(Outcome, Folder) {
    const struct {
        std::u16string_view path;
        bool exists;
        std::u16string_view pathAfter, finalPath;
        std::int32_t flags;  // as passed on to the system, without renaming, which the component does itself
    } cases[] = {
        {u" C:\\There\\ ", true, u"C:\\There", u"C:\\There\\f", 4 | 16},
        {u"C:\\Not\\there\\", false, u"C:\\Not\\there", u"C:\\Not\\there\\f", 4 | 16 | 512},
        {u"Z:\\", false, u"Z:", u"Z:\\f", 4 | 16 | 512},
    };
    for (const auto& c : cases) {
        ResetFileSystem();
        if (c.exists) PutFolder(u"C:\\There");
        manager->SetAssetsPath(c.path);
        const auto oI = Add(u"http://host/f", tsdStarting);
        EXPECT_FALSE(Complete(oI));
        EXPECT_EQ(oI->FinalPath(), c.finalPath);
        EXPECT_EQ(manager->AssetsPath(), c.pathAfter);
        ASSERT_EQ(Operations().size(), 1u);
        EXPECT_EQ(Operations()[0].flags, c.flags);
        manager->RemoveURL(oI->Handle());
    }
}

// The registry forgets the job; the control still knows the read.
TEST_F(Outcome, UnknownKeysGoBackUnderTheNameOfTheHandler) {
    const auto oI = Add(u"http://host/f", tsdDownloading);
    oI->SetState(tsdStopped);
    manager->RemoveURL(oI->Handle());
    EXPECT_EQ(FireProgress(Bytes(Key(oI), 1, 1)).value().source, u"CDLManager.FileReadProgress");
    EXPECT_EQ(Complete(oI).value().source, u"CDLManager.FileReadComplete");
}

// AddURL with Force, behind its dialog.
class Forced : public ManagerTest {
  protected:
    Forced() { Follow(); }
    void Follow() {
        host.handler = [this](const auto& oI) { job = oI; };
    }
    // While the dialog is shown, `act` runs once.
    std::u16string Force(const std::function<void()>& act) {
        ProgressWindows().whileShown = [act] {
            act();
            return LastProgressWindow().unloaded;
        };
        return manager->AddURL(url, u"", true);
    }
    void ExpectJob(TSDLStateEnum state, double start, std::int16_t active = 0) const {
        EXPECT_EQ(job->State(), state);
        EXPECT_DOUBLE_EQ(job->Start(), start);
        EXPECT_EQ(manager->ActiveJobs(), active);
        EXPECT_EQ(OpenReads().size(), job->IsRunning() ? 1u : 0u);
    }

    const std::u16string url = u"http://host/f.bin", handle = manager->GetHDL(url),
                         key = u"[" + handle + u"]";
    std::shared_ptr<CDLItem> job;  // of the latest event
};

TEST_F(Forced, RunsAtOnceBehindItsDialogUntilTheFileIsInPlace) {
    manager->SetActiveJobs(3);
    EXPECT_EQ(Force([&] {
                  EXPECT_EQ(LastProgressWindow().captions.at(ProgressControl::Dest), u"C:\\Assets\\f.bin");
                  EXPECT_FALSE(FireProgress(Bytes(key, 1, 4)));
                  EXPECT_EQ(LastProgressWindow().refreshes, 1);
                  ExpectJob(tsdDownloading, kTenOClock, 4);
                  host.Once([&](const auto& oI) {
                      // By the time the host hears of the end the dialog is gone.
                      EXPECT_EQ(oI->State(), tsdFinished);
                      EXPECT_TRUE(LastProgressWindow().unloaded);
                      EXPECT_EQ(oI->ProgressForm(), nullptr);
                  });
                  EXPECT_FALSE(Complete(job));
              }),
              handle);
    EXPECT_EQ(host.Heard(), 3u);
    EXPECT_EQ(LiveProgressWindows(), 0);
}

TEST_F(Forced, CancelStopsTheJob) {
    for (const bool byButton : {true, false}) {
        const double begun = kTenOClock + (byButton ? 0 : 60) / 86400.0;
        EXPECT_EQ(Force([&] {
                      AdvanceSeconds(60);
                      byButton ? PressCancel() : CloseProgressWindow();
                  }),
                  u"");
        ExpectJob(tsdStopped, begun + 60.0 / 86400);
        EXPECT_EQ(host.Heard(), byButton ? 2u : 3u);
    }
}

TEST_F(Forced, CancelOfAJobThatDoesNotRunOnlyReports) {
    for (const auto state : {tsdPending, tsdFinished, tsdBroken}) {
        EXPECT_EQ(Force([&] {
                      manager->ChangeState(handle, state, kTenOClock + 1);
                      host.Heard();
                      PressCancel();
                      EXPECT_EQ(host.Heard(), 1u);
                  }),
                  handle);
        ExpectJob(state, kTenOClock + 1);
        manager->RemoveURL(handle);
    }
}

TEST_F(Forced, CancelErrors) {
    const struct {
        bool removed;  // the job leaves the registry under its dialog
        std::int32_t hostError, number;
    } cases[] = {{true, 0, -2147219503}, {false, 1234, 1234}, {false, 5, -2147219503}};
    for (const auto& c : cases) {
        Force([&] {
            if (c.removed) {
                job = nullptr;
                manager->ChangeState(handle, tsdStopped);
                manager->RemoveURL(handle);
            }
            if (c.hostError != 0) host.Once([&](const auto&) { throw HostError(c.hostError); });
            const auto error = ErrorOf([] { PressCancel(); });
            EXPECT_EQ(error.number, c.number);
            EXPECT_EQ(error.source, u"CDLManager.frmP.Cancel");
            if (!LastProgressWindow().unloaded) CloseProgressWindow();
        });
        Follow();
        if (!c.removed) manager->RemoveURL(handle);
    }
}

TEST_F(Forced, RefusedStartShowsNothing) {
    RefuseReads(kReadError);
    EXPECT_EQ(manager->AddURL(url, u"", true), handle);
    ExpectJob(tsdPending, kTenOClock);
    EXPECT_EQ(job->Attempts(), 0);
    EXPECT_EQ(job->ProgressForm(), nullptr);
    EXPECT_EQ(LastProgressWindow().shows, 0);
    EXPECT_EQ(LiveProgressWindows(), 0);
    EXPECT_EQ(host.Heard(), 1u);
}

TEST_F(Forced, DialogThatCannotLoadLeavesWhatWasDone) {
    ProgressWindows().loadError = 7;
    const auto error = ErrorOf([&] { manager->AddURL(url, u"", true); });
    EXPECT_EQ(error.number, 7);
    EXPECT_EQ(error.source, u"CDLManager.AddURL");
    EXPECT_EQ(std::pair(manager->Jobs(), manager->ActiveJobs()),
              (std::pair<std::int16_t, std::int16_t>(1, 0)));
    EXPECT_EQ(host.Heard(), 0u);
    manager->ChangeState(handle, tsdStarting);  // without a dialog it runs
    FireProgress(Bytes(key, 1, 4));
    EXPECT_EQ(job->State(), tsdDownloading);
}

TEST_F(Forced, FailuresRestartAtOnceNineTimes) {
    for (const bool byProgress : {false, true}) {
        int failures = 0;
        EXPECT_EQ(Force([&] {
                      for (; !LastProgressWindow().unloaded; ++failures) {
                          ASSERT_TRUE(IsReading(key));
                          EXPECT_EQ(manager->ActiveJobs(), 1);
                          byProgress ? FireProgress(Error(key, kReadError))
                                     : FireComplete(Failed(key, kReadError));
                      }
                  }),
                  handle);
        EXPECT_EQ(failures, 10);
        ExpectJob(tsdBroken, kTenOClock);
        manager->RemoveURL(handle);
    }
}

// Where there is no user, the wait ends with the transfer.
TEST_F(Forced, JobThatStopsLeavesTheDialogToTheUser) {
    const struct {
        TSDLStateEnum state;
        std::int16_t attempts;
        std::function<void()> stop;
    } rows[] = {
        {tsdStopped, 1, [&] { manager->ChangeState(handle, tsdStopped); }},
        {tsdStopped, 1, [&] { job->SetState(tsdStopped); }},
        {tsdPending, 1,
         [&] {
             RefuseReads(kReadError);
             FireComplete(Failed(key, kReadError));
         }},
        {tsdBroken, 1,
         [&] {
             FailNextOperation({0, true});
             Complete(job);
         }},
        {tsdStarting, 2, [&] { FireComplete(Failed(key, kReadError)); }},
        {tsdStarting, 2,
         [&] {
             manager->ChangeState(handle, tsdStopped);
             manager->ChangeState(handle, tsdStarting);
         }},
    };
    for (const bool user : {true, false}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << &row - rows << (user ? " with a user" : ""));
            ProgressWindows().userCanClose = user;
            int turns = 0;
            ProgressWindows().whileShown = [&] {
                if (++turns > 1) {
                    CloseProgressWindow();
                    return true;
                }
                FireProgress(Bytes(key, 1, 4));
                row.stop();
                EXPECT_EQ(std::pair(job->State(), job->Attempts()), std::pair(row.state, row.attempts));
                EXPECT_FALSE(LastProgressWindow().unloaded);
                return true;
            };
            manager->AddURL(url, u"", true);
            EXPECT_EQ(turns, user || row.state == tsdStarting ? 2 : 1);
            RefuseReads(0);
            manager->Terminate();  // which frees the key of a refused start
            manager = CDLManager::Create(host);
            manager->SetAssetsPath(u"C:\\Assets");
        }
    }
}

TEST_F(Forced, RemovalEndsTheWait) {
    EXPECT_EQ(Force([&] { manager->RemoveURL(handle); }), u"");
    EXPECT_EQ(manager->Jobs(), 0);
    ExpectJob(tsdStopped, kTenOClock);
    EXPECT_EQ(job->ProgressForm(), nullptr);
    EXPECT_EQ(host.Heard(), 1u);  // AddURL's own, at its end
}

TEST_F(Forced, SecondForceOnTheSameJobShowsNothing) {
    Force([&] {
        EXPECT_EQ(manager->AddURL(url, u"", true), handle);
        EXPECT_EQ(LastProgressWindow().shows, 1);
        PressCancel();
    });
}

}  // namespace
}  // namespace tsasync
