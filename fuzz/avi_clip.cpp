// Opens any bytes as a clip and plays a round of it.
#include "platform/linux/gtk/avi_clip.h"

#include <cstddef>
#include <cstdint>
#include <span>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto clip = tsasync::platform::AviClip::Open(std::as_bytes(std::span(data, size)));
    if (!clip || clip->Width() * clip->Height() > 65536) return 0;  // large pictures only take longer
    for (std::size_t frame = 0; frame <= clip->FrameCount() && frame < 64; ++frame) clip->NextFrame();
    return 0;
}
