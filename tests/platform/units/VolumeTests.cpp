#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace {

using namespace braq::tests;
using testing::Each;

class Units_Volume : public ::testing::Test {
  protected:
    const std::shared_ptr<BRAQSoftwareDevice> device = steppedDevice("device");
    Float32 sample = 1.0F;
    Player player{device->deviceID(), planar(48000.0, 2),
                  [this](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                      std::fill_n(plane(list, 0), frames, sample);
                      std::fill_n(plane(list, 1), frames, -sample);
                      return 0;
                  }};
    OSStatus set(Float32 volume) {
        return AudioUnitSetParameter(player.unit, kHALOutputParam_Volume, global, 0, volume, 0);
    }
    std::vector<Float32> play(UInt32 frames, UInt32 cycle = 512) { return stepPlaying(*device, 2, frames, cycle)[0]; }
};

constexpr std::size_t twentyMilliseconds = 960;

TEST_F(Units_Volume, IsThereFromTheFirstFrameOn) {
    set(0.25F);
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(play(512), Each(0.25F));
}

TEST_F(Units_Volume, ChangesInAShortRampWithoutAStep) {
    for (const UInt32 cycle : {64U, 480U, 4096U}) {
        set(1.0F);
        ASSERT_EQ(player.start(), 0);
        play(512);
        for (const auto& [from, to] : {std::pair(1.0F, 0.0F), std::pair(0.0F, 2.0F), std::pair(2.0F, 0.5F)}) {
            set(to);
            const auto heard = play(4096, cycle);
            Float32 last = from;
            for (const Float32 now : heard) {
                EXPECT_LT(std::abs(now - last), 0.01F) << "no step";
                EXPECT_GE((now - last) * (to - from), -1e-6F) << "one direction";
                last = now;
            }
            EXPECT_NE(heard.front(), to);
            EXPECT_THAT(std::vector(heard.begin() + twentyMilliseconds, heard.end()), Each(to));
        }
        AudioOutputUnitStop(player.unit);
    }
}

TEST_F(Units_Volume, TurnsBackInTheMiddleOfARampWithoutAStep) {
    ASSERT_EQ(player.start(), 0);
    play(512);
    set(0.0F);
    auto heard = play(100);
    set(1.0F);
    const auto after = play(2000);
    heard.insert(heard.end(), after.begin(), after.end());
    for (std::size_t frame = 1; frame < heard.size(); ++frame) {
        EXPECT_LT(std::abs(heard[frame] - heard[frame - 1]), 0.01F);
    }
    EXPECT_GT(*std::ranges::min_element(heard), 0.5F) << "it has not gone down all the way";
    EXPECT_EQ(heard.back(), 1.0F);
}

TEST_F(Units_Volume, OfZeroIsSilenceWhateverTheSamples) {
    set(0.0F);
    ASSERT_EQ(player.start(), 0);
    for (const Float32 odd :
         {std::numeric_limits<Float32>::quiet_NaN(), std::numeric_limits<Float32>::infinity(), -1.0F}) {
        sample = odd;
        const Channels played = stepPlaying(*device, 2, 600);
        EXPECT_THAT(bits(played[0]), Each(0U)) << "not even a negative zero";
        EXPECT_THAT(bits(played[1]), Each(0U));
    }
}

TEST_F(Units_Volume, IsSilentAfterTheRampToZeroWhateverTheSamples) {
    ASSERT_EQ(player.start(), 0);
    play(512);
    sample = std::numeric_limits<Float32>::quiet_NaN();
    set(0.0F);
    const auto heard = play(2048);
    EXPECT_THAT(bits(std::vector(heard.begin() + twentyMilliseconds, heard.end())), Each(0U));
    sample = 1.0F;
    set(1.0F);
    EXPECT_EQ(play(2048).back(), 1.0F) << "and nothing of it stays";
}

TEST_F(Units_Volume, DoesNotClip) {
    sample = 3.0F;
    set(2.0F);
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(play(512), Each(6.0F));
    set(1.0F);
    play(1024);
    EXPECT_THAT(play(512), Each(3.0F));
}

} // namespace
