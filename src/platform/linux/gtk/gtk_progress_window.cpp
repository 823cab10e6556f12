#include "platform/linux/gtk/gtk_progress_window.h"

#include "base/Utf8.h"
#include "platform/dialog/key_pause.h"
#include "platform/dialog/layout.h"
#include "platform/linux/gtk/clip_data.h"
#include "platform/linux/gtk/display.h"
#include "platform/linux/gtk/path_ellipsis.h"

#include <atkmm/object.h>
#include <gdkmm/monitor.h>
#include <gdkmm/visual.h>
#include <glibmm/convert.h>
#include <gtkmm/stylecontext.h>

#include <algorithm>
#include <limits>

namespace tsasync::platform {

namespace {

constexpr int kScreenMargin = 40;
constexpr const char* kStyle = "progressbar trough, progressbar progress { min-height: 11px; }";

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

GtkProgressWindow::GtkProgressWindow(IProgressWindowEvents& events, void (*logError)())
    : m_events(events),
      m_logError(logError),
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
        m_client.put(*widget, 0, 0);
    }
}

void GtkProgressWindow::NameForAssistants() {
    const auto label = [this](ProgressControl labelling, ProgressControl labelled) {
        AtkObject* const caption = Widget(labelling).get_accessible()->gobj();
        AtkObject* const value = Widget(labelled).get_accessible()->gobj();
        atk_object_add_relationship(value, ATK_RELATION_LABELLED_BY, caption);
        atk_object_add_relationship(caption, ATK_RELATION_LABEL_FOR, value);
    };
    for (const DialogPair& pair : kDialogPairs) label(pair.caption, pair.value);
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

// What the control needs to show its text whole. A label asks for no width of its own.
DialogSize GtkProgressWindow::Needs(ProgressControl control) {
    if (control == ProgressControl::Animation) return {};
    Widget(control).set_size_request(-1, -1);  // which would count as its own need
    Gtk::Requisition minimum;
    Gtk::Requisition natural;
    Widget(control).get_preferred_size(minimum, natural);
    if (control == ProgressControl::Progress) return {0, minimum.height};
    if (const Gtk::Label* const label = Label(control))
        return {TextWidth(*label, label->get_text()), natural.height};
    return {natural.width, natural.height};
}

void GtkProgressWindow::Arrange() {
    DialogSizes sizes;
    sizes.width = m_clientWidth;
    sizes.widest = std::numeric_limits<int>::max();
    if (const auto monitor = m_window.get_display()->get_primary_monitor()) {
        Gdk::Rectangle area;
        monitor->get_workarea(area);
        sizes.widest = area.get_width() - kScreenMargin;
    }
    for (const Place& place : kProgressLayout)
        sizes.needs.at(static_cast<std::size_t>(place.control)) = Needs(place.control);
    const DialogLayout layout = LayOutDialog(sizes);
    for (const Place& place : kProgressLayout) {
        const DialogRectangle& area = layout.places.at(static_cast<std::size_t>(place.control));
        m_client.move(Widget(place.control), area.left, area.top);
        Widget(place.control).set_size_request(area.width, area.height);
    }
    m_clientWidth = layout.client.width;
    m_client.set_size_request(layout.client.width, layout.client.height);
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
    } catch (...) {
        m_logError();
    }
}

bool GtkProgressWindow::CloseByUser() {
    Tell([this] { m_events.CloseRequested(); });
    Unload();
    return true;
}

}  // namespace tsasync::platform
