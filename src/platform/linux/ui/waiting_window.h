#pragma once

#include "platform/progress_window.h"

#include <glib.h>

#include <array>
#include <string>

namespace tsasync::platform {

// The progress window of a process that can't show one: it waits, and the thread's events go on being
// delivered.
class WaitingWindow : public ProgressWindow {
  public:
    WaitingWindow();
    ~WaitingWindow() override;
    WaitingWindow(const WaitingWindow&) = delete;
    WaitingWindow& operator=(const WaitingWindow&) = delete;

    void SetTitle(std::u16string_view /*title*/) override {}
    void SetCaption(ProgressControl /*control*/, std::u16string_view /*caption*/) override {}
    void SetTooltip(ProgressControl /*control*/, std::u16string_view /*tooltip*/) override {}
    void SetProgress(float /*value*/) override {}
    void OpenClip(ClipSource /*source*/, std::int32_t /*number*/) override {}
    double ControlWidth(ProgressControl control) const override;
    double OuterWidth() const override;
    std::optional<std::u16string> FitPath(std::u16string_view /*path*/,
                                          std::int32_t /*width*/) const override {
        return std::nullopt;
    }
    ScreenDepth ScreenColors() const override { return {24, 1}; }
    void EndUnless(const std::function<bool()>& isRunning) override { m_isRunning = isRunning; }
    void ShowModal() override;
    void Refresh() override {}
    void Unload() override { m_unloaded = true; }

  private:
    GMainContext* m_context;  // from which this thread's reads are delivered
    std::function<bool()> m_isRunning = [] { return true; };
    bool m_unloaded = false;
};

// One line on standard error: title, time left and rate, written again at every refresh and wiped at the end.
class TerminalWindow final : public WaitingWindow {
  public:
    void SetTitle(std::u16string_view title) override { m_title = title; }
    void SetCaption(ProgressControl control, std::u16string_view caption) override;
    void ShowModal() override;
    void Refresh() override;
    void Unload() override;

  private:
    std::u16string m_title;
    std::array<std::u16string, kProgressLayout.size()> m_captions;
    bool m_shown = false;
};

}  // namespace tsasync::platform
