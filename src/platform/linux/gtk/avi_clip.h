#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tsasync::platform {

// A silent AVI clip of one video stream, 8 bits per pixel, run-length encoded (RLE8). Any bytes may be given
// to it; what is broken is a clip that can't be opened or a frame that shows what came before it.
class AviClip {
  public:
    // Nothing when `file` is no such clip, or larger than 4096 pixels either way. It must outlive the clip.
    static std::optional<AviClip> Open(std::span<const std::byte> file);

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    std::size_t FrameCount() const { return m_frames.size(); }
    std::uint32_t MicrosecondsPerFrame() const { return m_microsecondsPerFrame; }

    // The next frame, the first one after the last: 0x00RRGGBB, rows from the top, until the next call.
    std::span<const std::uint32_t> NextFrame();

  private:
    using Bytes = std::span<const std::byte>;

    AviClip() = default;
    bool ReadList(Bytes list, int depth);
    bool ReadFormat(Bytes format);
    void DecodeFrame(Bytes data);

    int m_width = 0;
    int m_height = 0;
    std::uint32_t m_microsecondsPerFrame = 0;
    std::vector<std::uint32_t> m_palette;  // 256 colours
    std::vector<Bytes> m_frames;
    std::size_t m_next = 0;
    std::vector<std::uint8_t> m_indices;  // the picture so far, rows from the bottom
    std::vector<std::uint32_t> m_pixels;
};

}  // namespace tsasync::platform
