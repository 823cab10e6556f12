#pragma once

#include "platform/linux/gtk/avi_clip.h"

#include <gtkmm/drawingarea.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tsasync::platform {

// Shows a clip again and again, scaled to the view's height and centred. The pixels at the clip's edges are
// drawn out to the view's own. Where the desktop asks for no animations it stands still.
class ClipView final : public Gtk::DrawingArea {
  public:
    ~ClipView() override { Stop(); }
    // Shows nothing when `file` is no clip.
    void Open(std::span<const std::byte> file);
    void Start();
    void Stop() { m_timer.disconnect(); }

  private:
    bool on_draw(const Cairo::RefPtr<Cairo::Context>& context) override;
    bool ShowNextFrame();

    std::optional<AviClip> m_clip;
    std::vector<std::uint32_t> m_frame;
    sigc::connection m_timer;
};

}  // namespace tsasync::platform
