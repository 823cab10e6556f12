#include "platform/linux/gtk/clip_view.h"

#include <glibmm/main.h>
#include <gtkmm/settings.h>

namespace tsasync::platform {

void ClipView::Open(std::span<const std::byte> file) {
    m_clip = AviClip::Open(file);
    if (m_clip) ShowNextFrame();
}

void ClipView::Start() {
    if (!m_clip || !Gtk::Settings::get_default()->property_gtk_enable_animations()) return;
    m_timer = Glib::signal_timeout().connect(sigc::mem_fun(*this, &ClipView::ShowNextFrame),
                                             m_clip->MicrosecondsPerFrame() / 1000);
}

bool ClipView::ShowNextFrame() {
    const auto pixels = m_clip->NextFrame();
    m_frame.assign(pixels.begin(), pixels.end());
    queue_draw();
    return true;
}

bool ClipView::on_draw(const Cairo::RefPtr<Cairo::Context>& context) {
    if (!m_clip) return true;
    const auto surface =
        Cairo::ImageSurface::create(reinterpret_cast<unsigned char*>(m_frame.data()), Cairo::FORMAT_RGB24,
                                    m_clip->Width(), m_clip->Height(), m_clip->Width() * 4);
    const auto pattern = Cairo::SurfacePattern::create(surface);
    pattern->set_extend(Cairo::EXTEND_PAD);
    pattern->set_filter(Cairo::FILTER_GOOD);
    const double scale = static_cast<double>(get_allocated_height()) / m_clip->Height();
    const double left = (get_allocated_width() - m_clip->Width() * scale) / 2;
    context->translate(left, 0);
    context->scale(scale, scale);
    context->set_source(pattern);
    context->paint();
    return true;
}

}  // namespace tsasync::platform
