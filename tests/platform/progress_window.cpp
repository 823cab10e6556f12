#include "tests/platform/progress_window.h"

#include "base/AutomationError.h"

#include <stdexcept>

namespace tsasync {

namespace {

thread_local testplatform::ProgressWindowScript g_script;
thread_local testplatform::ProgressWindowRecord g_record;
thread_local platform::IProgressWindowEvents* g_events = nullptr;  // of the latest window that lives
thread_local const platform::ProgressWindow* g_recorded = nullptr;
thread_local int g_live = 0;

void ThrowWhenSet(std::int32_t number) {
    if (number != 0) throw AutomationError{number, u"window", u"refused", u"help", 7};
}

class RecordingWindow final : public platform::ProgressWindow {
  public:
    explicit RecordingWindow(platform::IProgressWindowEvents& events) : m_events(events) {
        g_record = {};
        g_recorded = this;
        g_events = &events;
        ++g_live;
    }
    ~RecordingWindow() override {
        if (g_events == &m_events) g_events = m_outer;
        --g_live;
    }
    RecordingWindow(const RecordingWindow&) = delete;
    RecordingWindow& operator=(const RecordingWindow&) = delete;

    void SetTitle(std::u16string_view title) override { g_record.title = title; }
    void SetCaption(platform::ProgressControl control, std::u16string_view caption) override {
        ThrowWhenSet(g_script.captionError);
        g_record.captions[control] = caption;
    }
    void SetTooltip(platform::ProgressControl control, std::u16string_view tooltip) override {
        g_record.tooltips[control] = tooltip;
    }
    void SetProgress(float value) override { g_record.progress = value; }
    void OpenClip(platform::ClipSource source, std::int32_t number) override {
        g_record.clipSource = source;
        g_record.clip = number;
    }
    double ControlWidth(platform::ProgressControl control) const override {
        return static_cast<double>(platform::kProgressLayout.at(static_cast<std::size_t>(control)).width) /
               platform::kTwipsPerPixel;
    }
    double OuterWidth() const override { return g_script.outerWidth; }
    std::optional<std::u16string> FitPath(std::u16string_view path, std::int32_t width) const override {
        g_record.fitWidth = width;
        return g_script.fitPath ? g_script.fitPath(path, width) : std::nullopt;
    }
    platform::ScreenDepth ScreenColors() const override { return g_script.colors; }
    void EndUnless(const std::function<bool()>& isRunning) override {
        if (!g_script.userCanClose) m_isRunning = isRunning;
    }
    void ShowModal() override {
        ++g_record.shows;
        while (!m_unloaded) {
            const bool again = g_script.whileShown && g_script.whileShown();
            if (!m_isRunning()) Unload();
            if (!again) break;
        }
        if (!m_unloaded) throw std::logic_error("nobody unloads the progress window");
    }
    void Refresh() override { ++g_record.refreshes; }
    void Unload() override {
        m_unloaded = true;
        if (g_recorded == this) g_record.unloaded = true;
    }

  private:
    platform::IProgressWindowEvents& m_events;
    platform::IProgressWindowEvents* const m_outer = g_events;
    std::function<bool()> m_isRunning = [] { return true; };
    bool m_unloaded = false;
};

platform::IProgressWindowEvents& LiveEvents() {
    if (!g_events) throw std::logic_error("there is no progress window");
    return *g_events;
}

}  // namespace

testplatform::ProgressWindowScript& testplatform::ProgressWindows() { return g_script; }

void testplatform::ResetProgressWindows() {
    g_script = {};
    g_record = {};
}

const testplatform::ProgressWindowRecord& testplatform::LastProgressWindow() { return g_record; }

int testplatform::LiveProgressWindows() { return g_live; }

void testplatform::PressCancel() { LiveEvents().CancelPressed(); }

void testplatform::CloseProgressWindow() {
    LiveEvents().CloseRequested();
    if (!g_record.unloaded) throw std::logic_error("a closed progress window was not unloaded");
}

std::unique_ptr<platform::ProgressWindow> platform::CreateProgressWindow(IProgressWindowEvents& events) {
    ThrowWhenSet(g_script.loadError);
    return std::make_unique<RecordingWindow>(events);
}

}  // namespace tsasync
