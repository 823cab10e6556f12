#pragma once

#include "platform/dialog/layout.h"
#include "platform/linux/gtk/clip_view.h"
#include "platform/progress_window.h"

#include <glibmm/main.h>
#include <gtkmm/button.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/fixed.h>
#include <gtkmm/label.h>
#include <gtkmm/progressbar.h>
#include <gtkmm/window.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace tsasync::platform {

// The dialog's window on GTK 3. It keeps the places of the layout at 96 dots per inch and grows, but never
// shrinks, where a text needs more room.
class GtkProgressWindow final : public ProgressWindow {
  public:
    // `logError` is called with what `events` throws as the exception that is being handled.
    GtkProgressWindow(IProgressWindowEvents& events, void (*logError)());

    void SetTitle(std::u16string_view title) override;
    void SetCaption(ProgressControl control, std::u16string_view caption) override;
    void SetTooltip(ProgressControl control, std::u16string_view tooltip) override;
    void SetProgress(float value) override;
    void OpenClip(ClipSource source, std::int32_t number) override;
    double ControlWidth(ProgressControl control) const override;
    double OuterWidth() const override;
    std::optional<std::u16string> FitPath(std::u16string_view path, std::int32_t width) const override;
    ScreenDepth ScreenColors() const override;
    void ShowModal() override;
    void Refresh() override;
    void Unload() override;

  private:
    using Place = ProgressPlace;

    void MakeControls();
    void NameForAssistants();
    DialogSize Needs(ProgressControl control);
    void Arrange();
    void ComeBefore();
    bool KeyPressed(const GdkEventKey& key);
    // Runs one operation of the receiver and writes its error to the log.
    void Tell(const std::function<void()>& operation) const;
    bool CloseByUser();

    Gtk::Widget& Widget(ProgressControl control) const {
        return *m_widgets.at(static_cast<std::size_t>(control));
    }
    // Null for the three controls that are no labels.
    Gtk::Label* Label(ProgressControl control) const { return dynamic_cast<Gtk::Label*>(&Widget(control)); }

    IProgressWindowEvents& m_events;
    void (*m_logError)();
    Gtk::Window m_window;
    Gtk::Fixed m_client;
    ClipView m_animation;
    Gtk::ProgressBar m_progress;
    Gtk::Button m_cancel;
    std::array<Gtk::Label, 8> m_labels;
    std::array<Gtk::Widget*, kProgressLayout.size()> m_widgets{};
    Glib::RefPtr<Gtk::CssProvider> m_style;
    Glib::RefPtr<Glib::MainLoop> m_loop;
    Glib::RefPtr<Gdk::Window> m_hostWindow;  // before which this one stands; null where it is one of GTK's
    int m_clientWidth = 0;
    std::optional<std::uint32_t> m_shown;  // since when the window is on the screen, on the clock of its keys
    std::set<unsigned> m_keysDown;
    bool m_unloaded = false;
};

}  // namespace tsasync::platform
