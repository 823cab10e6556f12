#include "tests/manager/ManagerTest.h"

#include <map>

// What a host may do inside StateChanged: anything. Run under AddressSanitizer these show that nothing
// dangles.
namespace tsasync {
namespace {

class Reentrancy : public ManagerTest {
  protected:
    // Everything that can raise StateChanged, each with a job that runs and one that waits: `inEvent` happens
    // in the first or second event, `after` when the operation has returned.
    void ForEveryEvent(
        const std::function<void(const std::shared_ptr<CDLItem>&)>& inEvent,
        const std::function<void()>& after = [] {}) {
        using Raise = std::function<void(const std::shared_ptr<CDLItem>&)>;
        const Raise raisers[] = {
            [this](const auto&) { manager->AddURL(u"http://host/new"); },
            [this](const auto&) { manager->AddURL(u"http://host/1"); },
            [this](const auto&) {
                testplatform::ProgressWindows().whileShown = [] {
                    testplatform::PressCancel();
                    return true;
                };
                manager->AddURL(u"http://host/forced", u"", true);
            },
            [this](const auto& oI) { manager->ChangeState(oI->Handle(), tsdStopped); },
            [this](const auto& oI) { manager->ChangeState(oI->Handle(), tsdStarting); },
            [this](const auto& oI) {
                oI->SetRefCount(2);
                manager->RemoveURL(oI->Handle());
            },
            [this](const auto& oI) { manager->RemoveURL(oI->Handle()); },
            [this](const auto&) {
                testplatform::RefuseReads(kReadError);
                manager->Elect();
            },
            [](const auto& oI) { FireProgress(testplatform::Bytes(Key(oI), 1, 4)); },
            [](const auto& oI) { FireProgress(testplatform::Error(Key(oI), kReadError)); },
            [](const auto& oI) { Complete(oI); },
            [](const auto& oI) { Fail(oI); },
        };
        for (std::size_t i = 0; i < std::size(raisers); ++i) {
            SCOPED_TRACE(i);
            for (const int event : {1, 2}) {
                Restart();
                const auto oI = Add(u"http://host/1", tsdDownloading);
                Add(u"http://host/2", tsdPending);
                int count = 0;
                host.handler = [&](const std::shared_ptr<CDLItem>& item) {
                    if (++count == event) inEvent(item);
                };
                try {
                    // As the object that a host holds does, an operation keeps its manager alive by itself.
                    raisers[i](oI);
                } catch (const AutomationError&) {
                    // Some of what a host does makes the operation fail; that is its answer.
                }
                host.handler = nullptr;
                if (count >= event) after();
            }
        }
    }

    void Restart() {
        if (manager) manager->Terminate();
        testplatform::RefuseReads(0);
        testplatform::ResetProgressWindows();
        manager = CDLManager::Create(host);
        manager->SetAssetsPath(u"C:\\Assets");
        manager->SetAutoStart(true);
        host.Heard();
    }
};

TEST_F(Reentrancy, HostReleasesTheManager) {
    // The operation that goes on starts nothing and tells nothing.
    ForEveryEvent(
        [this](const auto&) {
            manager->Terminate();
            manager.reset();
            host.Heard();
        },
        [this] {
            EXPECT_EQ(host.Heard(), 0u);
            EXPECT_TRUE(testplatform::OpenReads().empty());
        });
}

TEST_F(Reentrancy, HostReplacesTheManager) {
    Host nextHost;
    std::shared_ptr<CDLManager> next;
    ForEveryEvent(
        [&](const auto&) {
            testplatform::RefuseReads(0);
            manager->Terminate();
            next = CDLManager::Create(nextHost);
            manager = next;
            next->SetAutoStart(true);
            next->AddURL(u"http://host/next");
            EXPECT_EQ(next->Jobs(), 1);
            EXPECT_EQ(nextHost.last->State(), tsdStarting);
        },
        [&] {
            EXPECT_EQ(testplatform::OpenReads().size(), 1u);
            EXPECT_EQ(next->ActiveJobs(), 1);
            EXPECT_EQ(next->Jobs(), 1);
        });
}

TEST_F(Reentrancy, HostUsesAndEmptiesTheManager) {
    ForEveryEvent([this](const auto& oI) {
        const auto inside = manager->AddURL(u"http://host/inside");
        manager->Elect();
        manager->ChangeState(inside, tsdStopped);
        manager->ChangeState(oI->Handle(), tsdFinished);
        for (const auto name : {u"1", u"2", u"new", u"forced", u"inside"}) {
            const std::u16string url = std::u16string(u"http://host/") + name;
            while (!manager->HDLbyURL(url).empty()) manager->RemoveURL(manager->HDLbyURL(url));
        }
        EXPECT_EQ(manager->Jobs(), 0);
    });
}

TEST_F(Reentrancy, HostMakesAndDropsASecondManager) {
    Host otherHost;
    ForEveryEvent([&](const auto&) {
        const auto other = CDLManager::Create(otherHost);
        other->SetAutoStart(true);
        other->AddURL(u"http://host/other");
        EXPECT_EQ(other->Jobs(), manager->Jobs());
        other->Terminate();
    });
}

TEST_F(Reentrancy, NotificationOfTheSameKindIsDropped) {
    const auto oI = Add(u"http://host/1", tsdStarting);
    const auto other = Add(u"http://host/2", tsdStarting);
    const auto third = Add(u"http://host/3", tsdStarting);
    host.Once([&](const auto&) {
        FireProgress(testplatform::Bytes(Key(other), 7, 8));  // dropped
        EXPECT_EQ(other->Size(), 0);
        Complete(other);  // handled
        EXPECT_EQ(other->State(), tsdFinished);
    });
    FireProgress(testplatform::Bytes(Key(oI), 1, 8));
    host.Once([&](const auto&) { Complete(third); });  // dropped
    Complete(oI);
    EXPECT_EQ(third->State(), tsdStarting);
    EXPECT_EQ(manager->ActiveJobs(), 1);
}

// It waits in a loop of its own, where the handlers around it don't count.
TEST_F(Reentrancy, ForcedDownloadInsideAHandlerHearsEverything) {
    for (const bool fromProgress : {true, false}) {
        for (const bool bySecond : {false, true}) {
            SCOPED_TRACE(testing::Message() << fromProgress << bySecond);
            Restart();
            Host otherHost;
            const auto second = bySecond ? CDLManager::Create(otherHost) : nullptr;
            CDLManager& calling = bySecond ? *second : *manager;
            const std::u16string handle = manager->GetHDL(u"http://host/forced");
            const auto outer = Add(u"http://host/1", tsdStarting);
            const auto other = Add(u"http://host/2", tsdStarting);
            std::u16string next = u"http://host/next";
            const auto fireTheSame = [&] {
                const auto oI = Add(next += u'1', tsdStarting);
                fromProgress ? FireProgress(testplatform::Bytes(Key(oI), 1, 8)) : Fail(oI);
                return host.Heard();
            };
            testplatform::ProgressWindows().whileShown = [&] {
                FireProgress(testplatform::Bytes(Key(other), 7, 8));
                EXPECT_EQ(other->Size(), 7);
                // A message box in a handler of this wait keeps back as everywhere.
                host.Once([&](const auto&) { EXPECT_EQ(fireTheSame(), 0u); });
                fromProgress ? FireProgress(testplatform::Bytes(Key(outer), 2, 8)) : Fail(other);
                const std::u16string key = u"[" + handle + u"]";
                testplatform::PutFile(u"C:\\Cache\\forced", "data");
                FireComplete(testplatform::Done(key, u"C:\\Cache\\forced", u"http://host/forced", 4));
                EXPECT_TRUE(testplatform::LastProgressWindow().unloaded);
                return true;
            };
            host.Once([&](const auto&) {
                EXPECT_EQ(calling.AddURL(u"http://host/forced", u"", true), handle);
                EXPECT_EQ(fireTheSame(), 0u);  // dropped: this handler still runs
            });
            fromProgress ? FireProgress(testplatform::Bytes(Key(outer), 1, 8)) : Fail(outer);
            EXPECT_NE(fireTheSame(), 0u);
            if (second) second->Terminate();
        }
    }
}

TEST_F(Reentrancy, HostReleasesTheManagerUnderItsDialog) {
    testplatform::ProgressWindows().whileShown = [this] {
        manager->Terminate();
        manager.reset();
        return true;
    };
    std::shared_ptr<CDLManager> calling = manager;
    const auto handle = manager->AddURL(u"http://host/f", u"", true);
    EXPECT_EQ(handle, calling->GetHDL(u"http://host/f"));
    EXPECT_TRUE(testplatform::LastProgressWindow().unloaded);
    EXPECT_TRUE(testplatform::OpenReads().empty());
    EXPECT_EQ(host.Heard(), 0u);
}

// Both calls return, and Cancel in the newest dialog that is open stops its job.
TEST_F(Reentrancy, DialogInsideADialog) {
    constexpr std::u16string_view kOuter = u"http://host/outer";
    constexpr std::u16string_view kInner = u"http://host/inner";
    const auto remove = [this](std::u16string_view url) { manager->RemoveURL(manager->GetHDL(url)); };
    const auto stop = [this](std::u16string_view url) {
        manager->ChangeState(manager->GetHDL(url), tsdStopped);
    };
    const auto cancel = [] { testplatform::PressCancel(); };
    const struct {
        const char* what;
        std::u16string_view inner;
        std::function<void()> before, inside, after;  // the inner AddURL
        std::u16string_view stopped;                  // the job
        std::int16_t jobs;
    } rows[] = {
        {"the outer job is removed after the inner one", kInner, [] {}, cancel, [&] { remove(kOuter); },
         kInner, 1},
        {"the outer job is removed under the inner one", kInner, [] {},
         [&] {
             remove(kOuter);
             cancel();
         },
         [] {}, kInner, 1},
        {"the outer one is cancelled", kInner, [] {}, cancel, cancel, kOuter, 2},
        {"the inner one can't be shown", kInner, [] { testplatform::ProgressWindows().loadError = 7; },
         cancel, cancel, kOuter, 2},
        {"the job of the outer one begins anew", kOuter, [&] { stop(kOuter); }, cancel, [] {}, kOuter, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Restart();
        std::map<std::u16string, TSDLStateEnum> states;
        host.handler = [&](const auto& oI) { states[oI->URL()] = oI->State(); };
        int depth = 0;
        testplatform::ProgressWindows().whileShown = [&] {
            if (++depth == 1) {
                row.before();
                ErrorOf([&] { manager->AddURL(row.inner, u"", true); });
                testplatform::ProgressWindows().loadError = 0;
                row.after();
            } else if (depth == 2) {
                row.inside();
            }
            return depth < 3;
        };
        EXPECT_NO_THROW(manager->AddURL(kOuter, u"", true));
        EXPECT_EQ(states[std::u16string(row.stopped)], tsdStopped);
        EXPECT_EQ(manager->Jobs(), row.jobs);
        EXPECT_EQ(testplatform::LiveProgressWindows(), 0);
        host.handler = nullptr;
    }
}

}  // namespace
}  // namespace tsasync
