#include "ui/frmProgress.h"

#include "base/AutomationError.h"
#include "base/Text.h"
#include "files/CompactPath.h"
#include "naming/UrlNameParser.h"
#include "platform/clock.h"
#include "platform/progress_window.h"
#include "transfer/modInIDE.h"
#include "ui/ProgressTexts.h"
#include "ui/modRes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace tsasync {

using platform::ClipSource;
using platform::ProgressControl;

namespace {

constexpr std::int32_t kClipFewColours = 101;
constexpr std::int32_t kClipManyColours = 102;
constexpr std::int32_t kManyColoursDepth = 9;
constexpr std::int32_t kSystemClip = 161;
constexpr double kWidthMargin = 10;  // pixels that a compacted path leaves free
constexpr std::size_t kTitleLimit = 64;
constexpr std::size_t kTitlePart = 30;

template <typename Number>
std::int32_t ToLong(Number value) {
    if (value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max()) {
        Raise(kErrOverflow);
    }
    return static_cast<std::int32_t>(value);
}

// The second that `date` lies in, counted from the origin of automation dates. A whole second may lie a
// little below itself, by the resolution of such a date.
std::int64_t SecondCount(double date) { return static_cast<std::int64_t>(std::floor(date * 86400 + 0.0005)); }

std::int32_t PixelWidth(double width) {
    return static_cast<std::int32_t>(RoundHalfEven(width - kWidthMargin));
}

std::u16string Shortened(std::u16string title) {
    if (title.size() <= kTitleLimit) return title;
    return title.substr(0, kTitlePart) + u"..." + title.substr(title.size() - kTitlePart);
}

}  // namespace

class frmProgress::Impl final : platform::IProgressWindowEvents {
  public:
    void SetDestination(std::u16string_view sPath);
    void SetAssetURL(std::u16string_view sURL);
    void BeginDownload(bool bStock);
    void SetAsyncStatus(std::int32_t Code, std::u16string_view Status);
    void SetSizeSoFar(std::int32_t ssf);
    void SetTotalSize(std::int32_t ts);
    platform::ProgressWindow& Window();
    void ShowModal(const std::function<bool()>& isRunning);
    void Unload();

    IProgressEvents* m_oEvents = nullptr;
    std::u16string m_sHDL;

  private:
    void UpdateDisplay();
    void UpdateTimeLeft();
    void UpdateTitle();
    void UpdateRate();
    std::int16_t ColorDepth();
    void Close(bool bRaiseCancel);

    void CancelPressed() override;
    void CloseRequested() override { Close(true); }

    const ProgressTexts m_texts;
    UrlNameParser m_oUrl;
    std::unique_ptr<platform::ProgressWindow> m_oWindow;  // loaded by the first operation that touches it
    std::optional<double> m_dtStart;
    std::u16string m_sDest;
    std::u16string m_sURL;
    std::u16string m_sTitle;
    std::int32_t m_lTotalSize = 0;
    std::int32_t m_lSizeSoFar = 0;
    std::int32_t m_lElapsed = 0;
    std::int32_t m_lRate = 0;
    bool m_bCancelled = false;
    bool m_bClosing = false;
};

platform::ProgressWindow& frmProgress::Impl::Window() {
    if (m_oWindow) return *m_oWindow;
    WithErrorSource(u"frmProgress.Load", [this] {
        auto window = platform::CreateProgressWindow(*this);
        for (const platform::ProgressPlace& place : platform::kProgressLayout) {
            if (place.tag != 0) window->SetCaption(place.control, modRes::LoadResText(place.tag));
        }
        m_oWindow = std::move(window);
    });
    return *m_oWindow;
}

void frmProgress::Impl::SetDestination(std::u16string_view sPath) {
    m_sDest = sPath;
    const std::int32_t width = PixelWidth(Window().ControlWidth(ProgressControl::Dest));
    Window().SetCaption(ProgressControl::Dest, modFileOps::CompactPath(m_sDest, width, Window()));
}

void frmProgress::Impl::SetAssetURL(std::u16string_view sURL) {
    m_sURL = sURL;
    m_oUrl.SetUrl(m_sURL);
    Window().SetCaption(ProgressControl::AssetName,
                        m_oUrl.FileName() + u" " + m_texts.From() + u" " + m_oUrl.HostName());
    const std::int32_t width = PixelWidth(2 * Window().OuterWidth());
    Window().SetTooltip(ProgressControl::AssetName, modFileOps::CompactPath(m_sURL, width, Window()));
}

void frmProgress::Impl::BeginDownload(bool bStock) {
    m_dtStart = platform::Now();
    if (modInIDE::InIDE() || bStock) {
        Window().OpenClip(ClipSource::System, kSystemClip);
    } else {
        Window().OpenClip(ClipSource::Component,
                          ColorDepth() >= kManyColoursDepth ? kClipManyColours : kClipFewColours);
    }
}

std::int16_t frmProgress::Impl::ColorDepth() {
    const platform::ScreenDepth depth = Window().ScreenColors();
    return static_cast<std::int16_t>(depth.bitsPerPixel * depth.planes);
}

void frmProgress::Impl::SetAsyncStatus(std::int32_t Code, std::u16string_view Status) {
    const std::u16string_view text = m_texts.Status(Code);
    if (!text.empty()) m_sTitle = std::u16string(text) + u": " + std::u16string(Status);
    UpdateDisplay();
}

void frmProgress::Impl::SetSizeSoFar(std::int32_t ssf) {
    m_lSizeSoFar = std::min(ssf, m_lTotalSize);
    UpdateDisplay();
}

void frmProgress::Impl::SetTotalSize(std::int32_t ts) {
    m_lTotalSize = ts;
    UpdateDisplay();
}

void frmProgress::Impl::UpdateDisplay() {
    // A figure that can't be shown ends the update: what is set stays, the rest waits for the next one.
    try {
        m_lElapsed = ToLong(SecondCount(platform::Now()) - SecondCount(m_dtStart.value_or(0)));
        UpdateTimeLeft();
        UpdateTitle();
        UpdateRate();
    } catch (const AutomationError&) {
        return;
    }
}

void frmProgress::Impl::UpdateTimeLeft() {
    if (m_lSizeSoFar <= 0) {
        Window().SetCaption(ProgressControl::TimeLeft, {});
        return;
    }
    const double remaining = static_cast<double>(m_lTotalSize) - m_lSizeSoFar;
    const std::int32_t eta = ToLong(RoundHalfEven(m_lElapsed * remaining / m_lSizeSoFar));
    Window().SetCaption(ProgressControl::TimeLeft,
                        m_texts.FormatTime(eta) + u" (" + m_texts.FormatSize(m_lSizeSoFar) + u" " +
                            m_texts.Of() + u" " + m_texts.FormatSize(m_lTotalSize) + u" " + m_texts.Copied() +
                            u")");
}

void frmProgress::Impl::UpdateTitle() {
    if (m_sTitle.empty() && m_lTotalSize > 0) {
        const std::int64_t pct = std::int64_t{m_lSizeSoFar} * 100 / m_lTotalSize;
        m_sTitle =
            Decimal(pct) + u"%  " + m_texts.Of() + u" " + m_oUrl.FileName() + u" " + m_texts.Completed();
        const std::int64_t value = pct % 100;  // at 100 % the bar is empty again
        if (value < 0) Raise(kErrInvalidPropertyValue);
        Window().SetProgress(static_cast<float>(value));
    } else if (m_sTitle.empty()) {
        m_sTitle = m_texts.Downloading() + u" " + m_oUrl.FileName();
    }
    m_sTitle = Shortened(std::move(m_sTitle));
    Window().SetTitle(m_sTitle);
    m_sTitle.clear();
}

void frmProgress::Impl::UpdateRate() {
    if (m_lElapsed == 0) {
        Window().SetCaption(ProgressControl::Rate, {});
        return;
    }
    m_lRate = ToLong(std::int64_t{m_lSizeSoFar} / m_lElapsed);
    Window().SetCaption(ProgressControl::Rate, m_texts.FormatRate(m_lRate));
}

void frmProgress::Impl::CancelPressed() {
    m_bCancelled = true;
    Unload();
}

void frmProgress::Impl::ShowModal(const std::function<bool()>& isRunning) {
    Window().EndUnless(isRunning);
    Window().ShowModal();
}

void frmProgress::Impl::Unload() { Close(m_bCancelled); }

// The window goes even when the receiver of Cancel fails. A receiver that unloads the dialog finds it closed.
void frmProgress::Impl::Close(bool bRaiseCancel) {
    if (m_bClosing) return;
    m_bClosing = true;
    try {
        if (bRaiseCancel && m_oEvents) m_oEvents->Cancel(m_sHDL);
    } catch (...) {
        if (m_oWindow) m_oWindow->Unload();
        throw;
    }
    if (m_oWindow) m_oWindow->Unload();
}

frmProgress::frmProgress() : m_impl(std::make_unique<Impl>()) {}
frmProgress::~frmProgress() = default;

void frmProgress::SetEvents(IProgressEvents* events) { m_impl->m_oEvents = events; }
void frmProgress::SetDestination(std::u16string_view sPath) { m_impl->SetDestination(sPath); }
void frmProgress::SetAssetURL(std::u16string_view sURL) { m_impl->SetAssetURL(sURL); }
void frmProgress::SetHDL(std::u16string_view HDL) { m_impl->m_sHDL = HDL; }
void frmProgress::BeginDownload(bool bStock) { m_impl->BeginDownload(bStock); }
void frmProgress::SetAsyncStatus(std::int32_t Code, std::u16string_view Status) {
    m_impl->SetAsyncStatus(Code, Status);
}
void frmProgress::SetSizeSoFar(std::int32_t ssf) { m_impl->SetSizeSoFar(ssf); }
void frmProgress::SetTotalSize(std::int32_t ts) { m_impl->SetTotalSize(ts); }
void frmProgress::Refresh() { m_impl->Window().Refresh(); }
void frmProgress::ShowModal(const std::function<bool()>& isRunning) { m_impl->ShowModal(isRunning); }
void frmProgress::Unload() { m_impl->Unload(); }

}  // namespace tsasync
