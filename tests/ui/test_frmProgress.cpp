#include "tests/base/error_of.h"
#include "tests/platform/clock.h"
#include "tests/platform/forms.h"
#include "tests/platform/locale.h"
#include "tests/platform/progress_window.h"
#include "transfer/CAsyncT.h"
#include "ui/frmProgress.h"
#include "ui/modRes.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace tsasync {

namespace {

using platform::ClipSource;
using platform::ProgressControl;
using testplatform::LastProgressWindow;
using testplatform::ProgressWindows;

constexpr double kNoon = 45366.5;

class FrmProgress : public testing::Test, public IProgressEvents {
  protected:
    void SetUp() override {
        testplatform::ResetProgressWindows();
        testplatform::SetWindowInstance(0);
        testplatform::SetNow(kNoon);
        testplatform::SetLocale(1033, u".");
        modRes::SetResModule(-1);
        modRes::SetLangID(1033);
    }

    // A dialog as the manager prepares it.
    std::unique_ptr<frmProgress> Dialog(std::u16string_view url = u"http://host.example/pics/photo.jpg") {
        auto dialog = std::make_unique<frmProgress>();
        dialog->SetEvents(this);
        dialog->SetDestination(u"C:\\Assets\\photo.jpg");
        dialog->SetAssetURL(url);
        dialog->SetHDL(u"handle");
        dialog->BeginDownload(false);
        return dialog;
    }

    // A dialog in which `sofar` of `total` bytes are there after `seconds`.
    std::unique_ptr<frmProgress> Dialog(double seconds, std::int32_t sofar, std::int32_t total) {
        auto dialog = Dialog();
        testplatform::AdvanceSeconds(seconds);
        dialog->SetTotalSize(total);
        dialog->SetSizeSoFar(sofar);
        return dialog;
    }

    static std::u16string Caption(ProgressControl control) {
        return LastProgressWindow().captions.at(control);
    }
    static std::u16string Title() { return LastProgressWindow().title; }

    void Cancel(std::u16string_view HDL) override {
        cancelled.emplace_back(HDL);
        unloadedAtCancel = LastProgressWindow().unloaded;
        if (onCancel) onCancel();
    }

    std::shared_ptr<CAsyncT> channel = CAsyncT::Create();  // as in every thread with a manager
    std::vector<std::u16string> cancelled;
    bool unloadedAtCancel = false;
    std::function<void()> onCancel;
};

TEST_F(FrmProgress, LoadsItsCaptionsInTheLanguageOfItsCreation) {
    modRes::SetLangID(1040);
    const auto dialog = Dialog();
    modRes::SetLangID(1031);
    dialog->SetTotalSize(100);
    EXPECT_EQ(Caption(ProgressControl::Saving), u"Salvataggio in corso:");
    EXPECT_EQ(Caption(ProgressControl::Estimated), u"Tempo stimato rimanente:");
    EXPECT_EQ(Caption(ProgressControl::Download), u"Download in:");
    EXPECT_EQ(Caption(ProgressControl::Transfer), u"Velocit\u00E0 di trasferimento:");
    EXPECT_EQ(Caption(ProgressControl::Cancel), u"Annulla");
    EXPECT_EQ(Caption(ProgressControl::AssetName), u"photo.jpg da host.example");
    EXPECT_EQ(Title(), u"0%  di photo.jpg Completato");
}

TEST_F(FrmProgress, CompactsTheDestinationToItsLabelAndTheAddressToTwiceTheWindow) {
    frmProgress dialog;
    ProgressWindows().outerWidth = 390.25;
    ProgressWindows().fitPath = [](std::u16string_view path, std::int32_t width) {
        return std::u16string(path.substr(0, 3)) + u"..." + std::u16string(1, static_cast<char16_t>(width));
    };
    dialog.SetDestination(u"C:\\a\\long\\path.jpg");
    EXPECT_EQ(LastProgressWindow().fitWidth, 232);  // 241.6 - 10
    EXPECT_EQ(Caption(ProgressControl::Dest), u"C:\\...\u00E8");
    dialog.SetAssetURL(u"http://host.example/photo.jpg");
    EXPECT_EQ(LastProgressWindow().fitWidth, 770);  // 770.5: a half goes to the even neighbour
    EXPECT_EQ(LastProgressWindow().tooltips.at(ProgressControl::AssetName), u"htt...\u0302");
    ProgressWindows().fitPath = nullptr;  // what fits is only trimmed
    dialog.SetDestination(u"  C:\\Assets\\photo.jpg ");
    EXPECT_EQ(Caption(ProgressControl::Dest), u"C:\\Assets\\photo.jpg");
}

TEST_F(FrmProgress, PicksTheClipForTheScreen) {
    const std::pair<platform::ScreenDepth, std::int32_t> screens[] = {
        {{1, 1}, 101}, {{8, 1}, 101},  {{1, 4}, 101},  {{3, 3}, 102},
        {{9, 1}, 102}, {{24, 1}, 102}, {{32, 1}, 102}, {{0x4000, 2}, 101}};
    for (const auto& [colors, clip] : screens) {
        ProgressWindows().colors = colors;
        const auto dialog = Dialog();
        EXPECT_EQ(LastProgressWindow().clip, clip) << colors.bitsPerPixel;
        EXPECT_EQ(LastProgressWindow().clipSource, ClipSource::Component);
    }
}

TEST_F(FrmProgress, ShowsTheSystemsClipInTheDevelopmentEnvironmentAndOnRequest) {
    frmProgress stock;
    stock.BeginDownload(true);
    EXPECT_EQ(LastProgressWindow().clip, 161);
    EXPECT_EQ(LastProgressWindow().clipSource, ClipSource::System);

    testplatform::SetWindowInstance(testplatform::kComponentInstance);
    const auto dialog = Dialog();
    EXPECT_EQ(LastProgressWindow().clip, 161);
}

TEST_F(FrmProgress, KnowsNothingBeforeTheTotal) {
    const auto dialog = Dialog(5, 0, 0);
    dialog->SetSizeSoFar(700);  // more than no total: stored as 0
    EXPECT_EQ(Title(), u"Downloading photo.jpg");
    EXPECT_EQ(Caption(ProgressControl::TimeLeft), u"");
    EXPECT_EQ(Caption(ProgressControl::Rate), u"");
    EXPECT_FALSE(LastProgressWindow().progress.has_value());
    dialog->SetTotalSize(1000);
    EXPECT_EQ(Title(), u"0%  of photo.jpg Completed");
}

TEST_F(FrmProgress, CountsOnTheSecondAndNeverOverflows) {
    const struct {
        double seconds;
        std::int32_t sofar, total;
        std::u16string percent;
        float bar;
        std::u16string_view timeLeft, rate;
    } cases[] = {
        {0, 50, 100, u"50", 50, u" (50 bytes of 100 bytes copied)", u""},
        {0.9, 50, 100, u"50", 50, u" (50 bytes of 100 bytes copied)", u""},
        {1, 50, 100, u"50", 50, u"1 sec  (50 bytes of 100 bytes copied)", u"50 bytes/Sec"},
        {1, 2, 3, u"66", 66, u" (2 bytes of 3 bytes copied)", u"2 bytes/Sec"},  // 0.5
        {3, 2, 3, u"66", 66, u"2 sec  (2 bytes of 3 bytes copied)", u""},       // 1.5
        {4, 100, 100, u"100", 0, u" (100 bytes of 100 bytes copied)", u"25 bytes/Sec"},
        {2, 50000000, 100000000, u"50", 50, u"2 sec  (47.7 MB of 95.4 MB copied)", u"23.84 MB/Sec"},
        {1, 2147483646, 2147483647, u"99", 99, u" (2048 MB of 2048 MB copied)", u"2048 MB/Sec"},
        {90000, 50, 100, u"50", 50, u"25 hr  (50 bytes of 100 bytes copied)", u""},
        {53, 1258291, 2831155, u"44", 44, u"1 min 6 sec  (1.2 MB of 2.7 MB copied)", u"23.18 KB/Sec"},
        // The clock has stepped back.
        {-10, 50, 100, u"50", 50, u" (50 bytes of 100 bytes copied)", u""}};
    for (const auto& c : cases) {
        SetUp();
        const auto dialog = Dialog(c.seconds, c.sofar, c.total);
        EXPECT_EQ(Title(), c.percent + u"%  of photo.jpg Completed");
        EXPECT_EQ(LastProgressWindow().progress, c.bar);
        EXPECT_EQ(Caption(ProgressControl::TimeLeft), c.timeLeft);
        EXPECT_EQ(Caption(ProgressControl::Rate), c.rate);
    }
}

TEST_F(FrmProgress, KeepsNoMoreThanTheTotalButAcceptsALowerOneLater) {
    const auto dialog = Dialog(0, 900, 500);
    EXPECT_EQ(Title(), u"100%  of photo.jpg Completed");
    dialog->SetTotalSize(200);
    EXPECT_EQ(Title(), u"250%  of photo.jpg Completed");
    EXPECT_EQ(LastProgressWindow().progress, 50.0F);
    EXPECT_EQ(Caption(ProgressControl::TimeLeft), u" (500 bytes of 200 bytes copied)");
}

TEST_F(FrmProgress, EndsAnUpdateSilentlyAtAFigureThatCannotBeShown) {
    const auto dialog = Dialog(1, 500, 1000);
    const std::u16string line = Caption(ProgressControl::TimeLeft);
    const std::u16string rate = Caption(ProgressControl::Rate);
    dialog->SetSizeSoFar(1);
    testplatform::AdvanceSeconds(3000);
    dialog->SetTotalSize(2147483647);  // 3001 s for a byte: the rest would take 6.4e12 s
    EXPECT_EQ(Title(), u"0%  of photo.jpg Completed");
    EXPECT_EQ(Caption(ProgressControl::TimeLeft), u"16 min 39 sec  (1 bytes of 1000 bytes copied)");
    dialog->SetTotalSize(10);
    EXPECT_EQ(Title(), u"10%  of photo.jpg Completed");
}

TEST_F(FrmProgress, ShowsATitleThatTheBarRefusedWithTheNextUpdate) {
    const auto dialog = Dialog(1, 20, 100);
    dialog->SetSizeSoFar(-50);
    EXPECT_EQ(Title(), u"20%  of photo.jpg Completed");
    EXPECT_EQ(LastProgressWindow().progress, 20.0F);
    dialog->SetSizeSoFar(60);
    EXPECT_EQ(Title(), u"-50%  of photo.jpg Completed");
    dialog->SetSizeSoFar(60);
    EXPECT_EQ(Title(), u"60%  of photo.jpg Completed");
}

TEST_F(FrmProgress, SwallowsAControlsRefusal) {
    const auto dialog = Dialog(1, 20, 100);
    ProgressWindows().captionError = 380;
    EXPECT_NO_THROW(dialog->SetSizeSoFar(50));
    EXPECT_EQ(Title(), u"20%  of photo.jpg Completed");
    ProgressWindows().captionError = 0;
    dialog->SetSizeSoFar(50);
    EXPECT_EQ(Title(), u"50%  of photo.jpg Completed");
}

TEST_F(FrmProgress, ShowsAStatusUntilTheNextUpdate) {
    const auto dialog = Dialog(1, 20, 100);
    dialog->SetAsyncStatus(3, u"http://mirror.example/p.jpg");
    EXPECT_EQ(Title(), u"Redirecting: http://mirror.example/p.jpg");
    dialog->SetAsyncStatus(5, u"ignored");
    EXPECT_EQ(Title(), u"20%  of photo.jpg Completed");
    dialog->SetAsyncStatus(0, u"-2146697208");
    EXPECT_EQ(Title(), u"Async Read Error: -2146697208");
    dialog->SetAsyncStatus(2, u"");
    EXPECT_EQ(Title(), u"Connecting: ");
    dialog->SetTotalSize(100);
    EXPECT_EQ(Title(), u"20%  of photo.jpg Completed");
}

TEST_F(FrmProgress, ShortensTitlesOverSixtyFourCharacters) {
    const auto dialog = Dialog();
    const std::u16string fits(64 - 12, u'x');  // "Connecting: " has 12
    dialog->SetAsyncStatus(2, fits);
    EXPECT_EQ(Title(), u"Connecting: " + fits);
    dialog->SetAsyncStatus(2, fits + u"y");
    EXPECT_EQ(Title(), u"Connecting: " + std::u16string(18, u'x') + u"..." + std::u16string(29, u'x') + u"y");
    EXPECT_EQ(Title().size(), 63U);
}

TEST_F(FrmProgress, RaisesCancelOnceWhenTheUserEndsIt) {
    for (const auto act : {testplatform::PressCancel, testplatform::CloseProgressWindow}) {
        SetUp();
        cancelled.clear();
        const auto dialog = Dialog();
        ProgressWindows().whileShown = [act] { return act(), true; };
        onCancel = [&] { dialog->Unload(); };  // a handler that closes the dialog, too
        dialog->ShowModal([] { return true; });
        EXPECT_EQ(cancelled, std::vector<std::u16string>{u"handle"});
        EXPECT_FALSE(unloadedAtCancel);
        EXPECT_TRUE(LastProgressWindow().unloaded);
        dialog->Unload();
        EXPECT_EQ(cancelled.size(), 1U);
        onCancel = nullptr;
    }
}

TEST_F(FrmProgress, RaisesNothingWhenTheManagerUnloadsIt) {
    const auto dialog = Dialog();
    ProgressWindows().whileShown = [&] {
        dialog->SetTotalSize(100);
        dialog->Refresh();
        dialog->Unload();
        return true;
    };
    dialog->ShowModal([] { return true; });
    EXPECT_TRUE(cancelled.empty());
    EXPECT_EQ(LastProgressWindow().refreshes, 1);
    dialog->SetSizeSoFar(50);  // a late notification
    EXPECT_EQ(LastProgressWindow().shows, 1);
}

TEST_F(FrmProgress, ClosesEvenWhenTheReceiverOfCancelFails) {
    const auto dialog = Dialog();
    onCancel = [] { throw AutomationError{5, u"receiver", {}, {}, 0}; };
    EXPECT_THROW(testplatform::PressCancel(), AutomationError);
    EXPECT_TRUE(LastProgressWindow().unloaded);
}

TEST_F(FrmProgress, NamesItselfAsTheSourceOfAFailedLoad) {
    frmProgress dialog;
    ProgressWindows().loadError = 364;
    const auto error = ErrorOf([&] { dialog.SetDestination(u"C:\\x"); });
    EXPECT_EQ(error.source, u"frmProgress.Load");
    EXPECT_EQ(std::tuple(error.number, error.description, error.helpFile, error.helpContext),
              std::tuple(364, u"refused", u"help", 7));
    EXPECT_EQ(testplatform::LiveProgressWindows(), 0);
    ProgressWindows().loadError = 0;
    ProgressWindows().captionError = 70;
    EXPECT_THROW(dialog.SetDestination(u"C:\\x"), AutomationError);
    ProgressWindows().captionError = 0;
    dialog.SetDestination(u"C:\\x");
    EXPECT_EQ(Caption(ProgressControl::Cancel), u"Cancel");
}

}  // namespace

}  // namespace tsasync
