#include "platform/linux/gtk/gtk_progress_window.h"

#include "base/AutomationError.h"
#include "base/Utf8.h"
#include "platform/dialog/key_pause.h"
#include "platform/linux/gtk/clip_data.h"
#include "platform/linux/gtk/display.h"
#include "platform/linux/ui/path_ellipsis.h"

#include <atkmm/object.h>
#include <gdkmm/monitor.h>
#include <gdkmm/visual.h>
#include <glibmm/convert.h>
#include <gtkmm/stylecontext.h>

#include <algorithm>
#include <cmath>
#include <exception>

namespace tsasync::platform {

namespace {

constexpr int kGap = 8;  // pixels between a caption and its value
constexpr int kMaxGrowth = 2;
constexpr int kScreenMargin = 40;
constexpr const char* kStyle = "progressbar trough, progressbar progress { min-height: 11px; }";

struct Pair {
    ProgressControl caption;
    ProgressControl value;
};

constexpr std::array kPairs{
    Pair{ProgressControl::Estimated, ProgressControl::TimeLeft},
    Pair{ProgressControl::Download, ProgressControl::Dest},
    Pair{ProgressControl::Transfer, ProgressControl::Rate},
};

int Pixels(std::int32_t twips) {
    return static_cast<int>(std::lround(static_cast<double>(twips) / kTwipsPerPixel));
}

const ProgressPlace& PlaceOf(ProgressControl control) {
    return kProgressLayout.at(static_cast<std::size_t>(control));
}

// Valid UTF-8 whatever `text` holds: a shortened title may have lost half a character.
Glib::ustring Shown(std::u16string_view text) {
    return Glib::convert_return_gchar_ptr_to_ustring(g_utf8_make_valid(ToUtf8(text).c_str(), -1));
}

int TextWidth(const Gtk::Widget& widget, const Glib::ustring& text) {
    int width = 0;
    int height = 0;
    const_cast<Gtk::Widget&>(widget).create_pango_layout(text)->get_pixel_size(width, height);
    return width;
}

}  // namespace

GtkProgressWindow::GtkProgressWindow(IProgressWindowEvents& events, void (*logEntry)(std::u16string_view))
    : m_events(events),
      m_logEntry(logEntry),
      m_style(Gtk::CssProvider::create()),
      m_loop(Glib::MainLoop::create()) {
    m_window.set_title(Shown(kProgressDesignTitle));
    m_window.set_type_hint(Gdk::WINDOW_TYPE_HINT_DIALOG);
    m_window.set_resizable(false);
    m_window.set_modal(true);
    m_window.set_position(Gtk::WIN_POS_CENTER);
    MakeControls();
    NameForAssistants();
    m_window.add(m_client);
    m_client.show_all();
    m_window.signal_realize().connect([this] {
        const auto window = m_window.get_window();
        // A small title bar: nothing to do there but to move and to close.
        window->set_functions(Gdk::FUNC_MOVE | Gdk::FUNC_CLOSE);
        window->set_decorations(Gdk::DECOR_BORDER | Gdk::DECOR_TITLE);
        if (m_hostWindow) window->set_transient_for(m_hostWindow);
    });
    m_window.signal_delete_event().connect([this](GdkEventAny*) { return CloseByUser(); });
    m_window.signal_map_event().connect([this](GdkEventAny*) {
        if (!m_shown) m_shown = display::Now(m_window.get_window());
        return false;
    });
    m_window.signal_focus_in_event().connect([this](GdkEventFocus*) {
        m_keysDown = display::KeysDown();
        return false;
    });
    m_window.signal_key_press_event().connect([this](GdkEventKey* key) { return KeyPressed(*key); }, false);
    m_window.signal_key_release_event().connect(
        [this](GdkEventKey* key) {
            m_keysDown.erase(key->hardware_keycode);
            return false;
        },
        false);
    m_window.signal_style_updated().connect([this] { Arrange(); });
    m_cancel.signal_clicked().connect([this] { Tell([this] { m_events.CancelPressed(); }); });
    m_cancel.grab_focus();
    Arrange();
}

void GtkProgressWindow::MakeControls() {
    m_style->load_from_data(kStyle);
    m_progress.get_style_context()->add_provider(m_style, GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    auto* label = m_labels.data();
    for (const Place& place : kProgressLayout) {
        Gtk::Widget*& widget = m_widgets.at(static_cast<std::size_t>(place.control));
        if (place.control == ProgressControl::Animation) {
            widget = &m_animation;
        } else if (place.control == ProgressControl::Progress) {
            widget = &m_progress;
        } else if (place.control == ProgressControl::Cancel) {
            widget = &m_cancel;
        } else {
            label->set_xalign(0);
            label->set_yalign(0);
            label->set_single_line_mode(true);
            label->set_ellipsize(Pango::ELLIPSIZE_MIDDLE);
            label->set_max_width_chars(1);  // its text asks for no room of its own
            widget = label++;
        }
        m_client.put(*widget, Pixels(place.left), Pixels(place.top));
    }
}

void GtkProgressWindow::NameForAssistants() {
    const auto label = [this](ProgressControl labelling, ProgressControl labelled) {
        AtkObject* const caption = Widget(labelling).get_accessible()->gobj();
        AtkObject* const value = Widget(labelled).get_accessible()->gobj();
        atk_object_add_relationship(value, ATK_RELATION_LABELLED_BY, caption);
        atk_object_add_relationship(caption, ATK_RELATION_LABEL_FOR, value);
    };
    for (const Pair& pair : kPairs) label(pair.caption, pair.value);
    label(ProgressControl::Saving, ProgressControl::AssetName);
    label(ProgressControl::AssetName, ProgressControl::Progress);
    m_window.get_accessible()->set_role(Atk::ROLE_DIALOG);
    m_animation.get_accessible()->set_role(Atk::ROLE_ANIMATION);
}

void GtkProgressWindow::SetTitle(std::u16string_view title) { m_window.set_title(Shown(title)); }

void GtkProgressWindow::SetCaption(ProgressControl control, std::u16string_view caption) {
    const Glib::ustring text = Shown(caption);
    if (auto* const label = Label(control)) {
        label->set_text(text);
    } else if (control == ProgressControl::Cancel) {
        m_cancel.set_label(text);
    }
    if (control == ProgressControl::AssetName) m_progress.get_accessible()->set_name(text);
    Arrange();
}

void GtkProgressWindow::SetTooltip(ProgressControl control, std::u16string_view tooltip) {
    Widget(control).set_tooltip_text(Shown(tooltip));
}

void GtkProgressWindow::SetProgress(float value) {
    m_progress.set_fraction(static_cast<double>(value) / 100);
}

void GtkProgressWindow::OpenClip(ClipSource source, std::int32_t number) {
    if (source == ClipSource::Component) m_animation.Open(ClipData(number));
}

double GtkProgressWindow::ControlWidth(ProgressControl control) const {
    int width = 0;
    int height = 0;
    Widget(control).get_size_request(width, height);
    return width;
}

double GtkProgressWindow::OuterWidth() const {
    const auto window = m_window.get_window();
    if (!window || !m_window.get_mapped()) return m_clientWidth;
    Gdk::Rectangle frame;
    const_cast<Gdk::Window&>(*window.operator->()).get_frame_extents(frame);
    return std::max(frame.get_width(), m_clientWidth);
}

std::optional<std::u16string> GtkProgressWindow::FitPath(std::u16string_view path, std::int32_t width) const {
    const Gtk::Widget& label = Widget(ProgressControl::Dest);
    return EllipsizePath(path,
                         [&](std::u16string_view text) { return TextWidth(label, Shown(text)) <= width; });
}

ScreenDepth GtkProgressWindow::ScreenColors() const { return {Gdk::Visual::get_system()->get_depth(), 1}; }

// A value begins at its place, or behind a caption that is longer than its own.
int GtkProgressWindow::ValueLeft(const Place& value) const {
    int left = Pixels(value.left);
    for (const Pair& pair : kPairs) {
        if (pair.value != value.control) continue;
        const int captionEnd = Pixels(PlaceOf(pair.caption).left) +
                               TextWidth(Widget(pair.caption), Label(pair.caption)->get_text());
        left = std::max(left, captionEnd + kGap);
    }
    return left;
}

// The width of the client area in which no label is cut, up to what the screen has. A name or a path, which
// may have any length, widens it to twice the layout's and no more.
int GtkProgressWindow::NeededWidth() const {
    const Place& whole = PlaceOf(ProgressControl::AssetName);
    const int design = Pixels(kProgressClientWidth);
    const int rightMargin = design - Pixels(whole.left) - Pixels(whole.width);
    int width = design;
    for (const Place& place : kProgressLayout) {
        const Gtk::Label* const label = Label(place.control);
        if (!label) continue;
        const bool anyLength =
            place.control == ProgressControl::AssetName || place.control == ProgressControl::Dest;
        const int needed = ValueLeft(place) + TextWidth(*label, label->get_text()) + rightMargin;
        width = std::max(width, anyLength ? std::min(needed, kMaxGrowth * design) : needed);
        // Behind a longer caption a path keeps its room, which tells how it is shortened.
        if (place.control == ProgressControl::Dest)
            width = std::max(width, ValueLeft(place) + place.width / kTwipsPerPixel + rightMargin);
    }
    if (const auto monitor = m_window.get_display()->get_primary_monitor()) {
        Gdk::Rectangle area;
        monitor->get_workarea(area);
        width = std::min(width, std::max(area.get_width() - kScreenMargin, design));
    }
    return width;
}

int GtkProgressWindow::NeededHeight(ProgressControl control) const {
    const int design = Pixels(PlaceOf(control).height);
    int minimum = 0;
    int natural = 0;
    if (control != ProgressControl::Animation) Widget(control).get_preferred_height(minimum, natural);
    return control == ProgressControl::Progress ? std::max(design, minimum) : std::max(design, natural);
}

// Gives every control its place for this width and returns the height of the client area.
int GtkProgressWindow::ArrangeRows(int clientWidth) {
    const int growth = clientWidth - Pixels(kProgressClientWidth);
    int shift = 0;    // how far this row has come down
    int bottom = 0;   // of the rows above
    int rowTop = -1;  // in the layout
    int rowBottom =
        0;  // the lowest of this row's controls, which may share its pixels with the next in the layout
    for (const Place& place : kProgressLayout) {
        if (place.top != rowTop) bottom = rowBottom;
        rowTop = place.top;
        shift = std::max(shift, bottom - Pixels(place.top));
        const int height = NeededHeight(place.control);
        const int top = Pixels(place.top) + shift;
        int left = ValueLeft(place);
        int width = Pixels(place.left) + Pixels(place.width) + growth - left;
        if (place.control == ProgressControl::Cancel) {
            int minimum = 0;
            int natural = 0;
            m_cancel.get_preferred_width(minimum, natural);
            width = std::max(Pixels(place.width), natural);
            left += growth + Pixels(place.width) - width;
        } else if (place.tag != 0 && Label(place.control)) {
            width = std::max(Pixels(place.width),
                             TextWidth(Widget(place.control), Label(place.control)->get_text()));
            for (const Pair& pair : kPairs) {
                if (pair.caption == place.control) width = ValueLeft(PlaceOf(pair.value)) - kGap / 2 - left;
            }
        }
        Gtk::Widget& widget = Widget(place.control);
        m_client.move(widget, left, top);
        widget.set_size_request(width, height);
        rowBottom = std::max(rowBottom, top + height);
    }
    const Place& last = kProgressLayout.back();
    return rowBottom + Pixels(kProgressClientHeight - last.top - last.height);
}

void GtkProgressWindow::Arrange() {
    m_clientWidth = std::max(m_clientWidth, NeededWidth());
    m_client.set_size_request(m_clientWidth, ArrangeRows(m_clientWidth));
}

// Before the host's active window, of whatever toolkit that is.
void GtkProgressWindow::ComeBefore() {
    for (Gtk::Window* const window : Gtk::Window::list_toplevels()) {
        if (window != &m_window && window->is_active()) return m_window.set_transient_for(*window);
    }
    m_hostWindow = display::ActiveWindow();
}

void GtkProgressWindow::ShowModal() {
    if (m_unloaded) return;
    ComeBefore();
    m_animation.Start();
    m_window.present();
    m_loop->run();
}

// True for a key that goes no further.
bool GtkProgressWindow::KeyPressed(const GdkEventKey& key) {
    const bool repeated = !m_keysDown.insert(key.hardware_keycode).second;
    if (!m_shown || !KeyActs(*m_shown, display::TimeOf(key), repeated)) return true;
    if (key.keyval != GDK_KEY_Escape) return false;
    m_cancel.clicked();
    return true;
}

void GtkProgressWindow::Refresh() { m_window.queue_draw(); }

void GtkProgressWindow::Unload() {
    m_unloaded = true;
    m_animation.Stop();
    m_window.hide();
    m_window.get_display()->sync();  // the host may work on without its loop
    m_loop->quit();
}

void GtkProgressWindow::Tell(const std::function<void()>& operation) const {
    try {
        operation();
    } catch (const AutomationError& error) {
        m_logEntry(error.source + u": " + error.description);
    } catch (const std::exception& error) {
        m_logEntry(FromUtf8(error.what()));
    }
}

bool GtkProgressWindow::CloseByUser() {
    Tell([this] { m_events.CloseRequested(); });
    Unload();
    return true;
}

}  // namespace tsasync::platform
