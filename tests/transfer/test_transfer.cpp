#include "tests/base/error_of.h"
#include "tests/platform/forms.h"
#include "tests/platform/url_reader.h"
#include "transfer/CAsyncT.h"
#include "transfer/ctlAsyncT.h"
#include "transfer/modInIDE.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace tsasync {
namespace {

using testplatform::FireComplete;
using testplatform::FireProgress;

struct Event {
    std::u16string what, key;
    std::int32_t type;
    std::u16string data;
    bool operator==(const Event&) const = default;
};

class Receiver final : public ITransferEvents {
  public:
    void FileReadComplete(std::u16string_view key, std::int32_t type, const platform::AsyncProperty&,
                          std::u16string_view data) override {
        Note(u"complete", key, type, data);
    }
    void FileReadProgress(std::u16string_view key, std::int32_t type, const platform::AsyncProperty&,
                          std::u16string_view data) override {
        Note(u"progress", key, type, data);
    }

    std::vector<Event> events;
    std::function<void()> then = [] {};

  private:
    void Note(std::u16string_view what, std::u16string_view key, std::int32_t type,
              std::u16string_view data) {
        events.push_back({std::u16string(what), std::u16string(key), type, std::u16string(data)});
        const auto action = then;  // which may replace itself
        action();
        // What came in must have outlived whatever `then` did.
        EXPECT_EQ(events.back().key, key);
    }
};

class Control : public testing::Test {
  protected:
    Receiver receiver;
    ctlAsyncT control{receiver};

    AutomationError StartError(std::u16string_view key) {
        return ErrorOf([&] { control.DownloadFile(key, u"http://a/", 1); });
    }
};

TEST_F(Control, BlankKeyStartsNothing) {
    EXPECT_FALSE(control.DownloadFile(u"   ", u"http://a/", 1));
    EXPECT_TRUE(testplatform::OpenReads().empty());
}

TEST_F(Control, KeyIsTrimmedAndTheUrlIsNot) {
    EXPECT_TRUE(control.DownloadFile(u"  [h] ", u" http://a/ ", 1, u"data"));
    ASSERT_EQ(testplatform::OpenReads().size(), 1u);
    EXPECT_EQ(testplatform::OpenReads()[0].name, u"[h]");
    EXPECT_EQ(testplatform::OpenReads()[0].target, u" http://a/ ");
    FireProgress(testplatform::Bytes(u"[h]", 1, 2));
    EXPECT_EQ(receiver.events, (std::vector<Event>{{u"progress", u"[h]", 1, u"data"}}));
    EXPECT_TRUE(control.CancelDownload(u" [H] "));
    EXPECT_FALSE(testplatform::IsReading(u"[h]"));
}

TEST_F(Control, KeyInUseIsRefusedAndTheFirstReadGoesOn) {
    control.DownloadFile(u"[h]", u"http://a/", 1);
    const auto error = StartError(u"[H]");
    EXPECT_EQ(error.number, 457);
    EXPECT_EQ(error.source, u"ctlAsyncT.DownloadFile");
    EXPECT_EQ(testplatform::OpenReads().size(), 1u);
}

TEST_F(Control, FailedCancelChangesNothing) {
    control.DownloadFile(u"[h]", u"http://a/", 1);
    testplatform::RefuseCancels(platform::kErrCannotConnect);
    EXPECT_FALSE(control.CancelDownload(u"[h]"));
    testplatform::RefuseCancels(0);
    EXPECT_EQ(StartError(u"[h]").number, 457);
    EXPECT_FALSE(control.CancelDownload(u"[unknown]"));
}

TEST_F(Control, ReadCancelledInsideItsProgress) {
    control.DownloadFile(u"[h]", u"http://a/", 1, std::u16string(100, u'd'));
    receiver.then = [&] { EXPECT_TRUE(control.CancelDownload(u"[h]")); };
    FireProgress(testplatform::Bytes(u"[h]", 1, 1));
    EXPECT_EQ(receiver.events.size(), 1u);
    EXPECT_EQ(receiver.events[0].data.size(), 100u);
}

// Each runs on a thread of its own, whose hidden form is not loaded yet.
void OnNewThread(const std::function<void()>& body) { std::thread(body).join(); }

TEST(Channel, EveryReceiverHearsOverAChangingList) {
    OnNewThread([] {
        const auto channel = CAsyncT::Create();
        const auto first = std::make_shared<Receiver>();
        auto second = std::make_shared<Receiver>();
        const auto third = std::make_shared<Receiver>();
        const auto late = std::make_shared<Receiver>();
        const std::weak_ptr<Receiver> ended = second;
        for (const auto& to : {first, second, third}) channel->Connect(to);
        channel->DownloadFile(u"[h]", u"http://a/", 1, u"");
        first->then = [&] {
            if (!second) return;
            channel->Disconnect(*second);
            second.reset();
            channel->Connect(late);
            FireProgress(testplatform::Bytes(u"[h]", 1, 1));  // nested
            throw AutomationError{1234, u"first", {}, {}, 0};
        };
        EXPECT_EQ(FireProgress(testplatform::Bytes(u"[h]", 1, 1)).value().number, 1234);
        EXPECT_TRUE(ended.expired());
        EXPECT_EQ(first->events.size(), 2u);
        EXPECT_EQ(third->events.size(), 2u);
        EXPECT_EQ(late->events.size(), 1u);
        channel->CancelDownload(u"[h]");
    });
}

TEST(Channel, TheFormKeepsTheLatestChannelAndOneControl) {
    OnNewThread([] {
        const auto receiver = std::make_shared<Receiver>();
        std::weak_ptr<CAsyncT> old = CAsyncT::Create();
        EXPECT_FALSE(old.expired());
        EXPECT_TRUE(old.lock()->DownloadFile(u"[h]", u"http://a/", 1, u""));
        const auto channel = CAsyncT::Create();
        EXPECT_TRUE(old.expired());
        channel->Connect(receiver);
        FireProgress(testplatform::Bytes(u"[h]", 1, 1));
        EXPECT_EQ(receiver->events.size(), 1u);
    });
}

TEST(InIDE, NeedsALoadedForm) {
    OnNewThread([] {
        EXPECT_FALSE(modInIDE::InIDE());
        EXPECT_FALSE(modInIDE::InIDE());
        ASSERT_EQ(testplatform::ErrorMessages().size(), 2u);
        EXPECT_EQ(testplatform::ErrorMessages()[0].text,
                  u"This routine cannot be called if no forms are loaded.");
        EXPECT_EQ(testplatform::ErrorMessages()[0].title, u"Error");
        const auto channel = CAsyncT::Create();
        EXPECT_FALSE(modInIDE::InIDE());
        testplatform::SetWindowInstance(testplatform::kComponentInstance);
        EXPECT_TRUE(modInIDE::InIDE());
        EXPECT_EQ(testplatform::ErrorMessages().size(), 2u);
    });
}

}  // namespace
}  // namespace tsasync
