#include "platform/linux/gtk/avi_clip.h"
#include "platform/linux/gtk/clip_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tsasync::platform {

namespace {

struct Made {
    std::int32_t number;
    std::size_t bytes, frames;
};

TEST(AviClip, PlaysTheComponentsClips) {
    for (const Made& made : {Made{101, 10888, 31}, Made{102, 40984, 30}}) {
        const auto data = ClipData(made.number);
        EXPECT_EQ(data.size(), made.bytes);
        auto clip = AviClip::Open(data);
        ASSERT_TRUE(clip) << made.number;
        EXPECT_EQ(clip->Width(), 272);
        EXPECT_EQ(clip->Height(), 60);
        EXPECT_EQ(clip->FrameCount(), made.frames);
        EXPECT_EQ(clip->MicrosecondsPerFrame(), 66667U);
        const auto first = clip->NextFrame();
        const std::vector<std::uint32_t> start(first.begin(), first.end());
        std::size_t changed = 0;
        for (std::size_t frame = 1; frame < made.frames; ++frame) {
            const auto picture = clip->NextFrame();
            changed += std::equal(start.begin(), start.end(), picture.begin()) ? 0 : 1;
        }
        EXPECT_GT(changed, made.frames / 2);
        const auto again = clip->NextFrame();
        EXPECT_TRUE(std::equal(start.begin(), start.end(), again.begin())) << "the round does not close";
    }
    EXPECT_TRUE(ClipData(103).empty());
}

TEST(AviClip, RefusesWhatIsNoClip) {
    const auto data = ClipData(101);
    for (const std::size_t size : {0UL, 11UL, 100UL, 1300UL, data.size() - 600}) {
        EXPECT_FALSE(AviClip::Open(data.first(size))) << size;
    }
}

}  // namespace

}  // namespace tsasync::platform
