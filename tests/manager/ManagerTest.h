#pragma once

#include "manager/CDLManager.h"
#include "tests/base/error_of.h"
#include "tests/platform/clock.h"
#include "tests/platform/file_system.h"
#include "tests/platform/progress_window.h"
#include "tests/platform/settings_store.h"
#include "tests/platform/url_reader.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tsasync {

using testplatform::FireComplete;
using testplatform::FireProgress;

// A host's sink: keeps what it hears and does what the test wants inside the event.
class Host final : public IManagerEvents {
  public:
    void StateChanged(const std::shared_ptr<CDLItem>& oI) override {
        heard.emplace_back(oI->URL(), oI->State());
        last = oI;
        const auto action = handler;  // which may replace itself
        if (action) action(oI);
    }

    // How often the host has heard since the last call.
    std::size_t Heard() { return std::exchange(heard, {}).size(); }
    // Does `action` in the next event only.
    void Once(std::function<void(const std::shared_ptr<CDLItem>&)> action) {
        handler = [this, action = std::move(action)](const std::shared_ptr<CDLItem>& oI) {
            const auto only = action;
            handler = nullptr;
            only(oI);
        };
    }

    std::vector<std::pair<std::u16string, TSDLStateEnum>> heard;  // URL and state in each event
    std::shared_ptr<CDLItem> last;
    std::function<void(const std::shared_ptr<CDLItem>&)> handler;
};

inline AutomationError HostError(std::int32_t number) {
    return {number, u"host", u"what the host said", u"host.hlp", 77};
}

class ManagerTest : public testing::Test {
  protected:
    static constexpr double kTenOClock = 45366 + 10.0 / 24;
    static constexpr std::int32_t kReadError = platform::kErrDownloadFailure;

    ManagerTest() {
        testplatform::SetNow(kTenOClock);
        testplatform::ResetFileSystem();
        testplatform::ClearSettings();
        testplatform::RefuseReads(0);
        testplatform::RefuseCancels(0);
        testplatform::ResetProgressWindows();
        manager = CDLManager::Create(host);
        manager->SetAssetsPath(u"C:\\Assets");
    }
    ~ManagerTest() override {
        if (manager) manager->Terminate();
    }

    static std::u16string Key(const std::shared_ptr<CDLItem>& oI) { return u"[" + oI->Handle() + u"]"; }

    // A new job in a state of the test's choice. Its events are not counted.
    std::shared_ptr<CDLItem> Add(std::u16string_view url, TSDLStateEnum state = tsdStopped) {
        manager->AddURL(url);
        auto oI = host.last;
        if (state == tsdStarting || state == tsdDownloading) {
            manager->ChangeState(oI->Handle(), tsdStarting, {}, true);
        }
        oI->SetState(state);
        host.Heard();
        return oI;
    }

    // The read of the job ends well, with a file of the reader's.
    static std::optional<AutomationError> Complete(const std::shared_ptr<CDLItem>& oI) {
        testplatform::PutFile(u"C:\\Cache\\1", "data");
        return FireComplete(testplatform::Done(Key(oI), u"C:\\Cache\\1", oI->URL(), 4));
    }
    static std::optional<AutomationError> Fail(const std::shared_ptr<CDLItem>& oI) {
        return FireComplete(testplatform::Failed(Key(oI), kReadError));
    }

    Host host;
    std::shared_ptr<CDLManager> manager;
};

}  // namespace tsasync
