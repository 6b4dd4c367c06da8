#include "platform/hardware/DeviceProcedures.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <memory>

// The procedures of a device that a test runs cycle by cycle.

namespace {

using braq::DeviceProcedures;
using braq::IODirections;
using testing::Each;

/// A driver's device that does nothing of its own.
class Silent final : public braq::DriverDevice {
  public:
    OSStatus startIO(braq::DeviceCycles& /*cycles*/) override { return kAudioHardwareNoError; }
    void stopIO() override {}
};

void playOnes(void* /*context*/, const braq::IOSlice& slice) {
    std::fill_n(static_cast<Float32*>(slice.output->mBuffers[0].mData), slice.frames, 1.0F);
}

class DeviceProceduresOfATest : public testing::Test {
  protected:
    static constexpr UInt32 frames = 64;

    /// Runs a cycle whose output holds anything before it.
    const std::array<Float32, frames>& run() {
        output.fill(99.0F);
        Float32* const channel = output.data();
        braq::DeviceCycle cycle{};
        cycle.frames = frames;
        cycle.sampleTime = sampleTime;
        cycle.hostTime = 1'000'000'000 + static_cast<UInt64>(sampleTime * 20'000);
        cycle.nominalRate = 50'000;
        cycle.rateScalar = 1.0;
        cycle.outputChannels = 1;
        cycle.output = &channel;
        sampleTime += frames;
        procedures.runCycle(cycle);
        return output;
    }

    DeviceProcedures procedures{
        std::make_shared<Silent>(), {.sliceFrames = frames, .inputChannels = 0, .outputChannels = 1}, {[] {}, [] {}}};
    std::array<Float32, frames> output{};
    Float64 sampleTime = 0;
};

TEST_F(DeviceProceduresOfATest, PlaySilenceWhereNoneRuns) {
    braq::IOProcedureID id = 0;
    ASSERT_EQ(procedures.add(IODirections::playback, playOnes, nullptr, &id), kAudioHardwareNoError);
    EXPECT_THAT(run(), Each(0.0F));
    ASSERT_EQ(procedures.start(id), kAudioHardwareNoError);
    EXPECT_THAT(run(), Each(1.0F));
    ASSERT_EQ(procedures.stop(id), kAudioHardwareNoError);
    EXPECT_THAT(run(), Each(0.0F));
}

TEST_F(DeviceProceduresOfATest, ForgetTheTimeWhenTheLastOneStops) {
    braq::IOProcedureID first = 0;
    braq::IOProcedureID second = 0;
    ASSERT_EQ(procedures.add(IODirections::playback, playOnes, nullptr, &first), kAudioHardwareNoError);
    ASSERT_EQ(procedures.add(IODirections::playback, playOnes, nullptr, &second), kAudioHardwareNoError);
    procedures.start(first);
    procedures.start(second);
    run();
    procedures.stop(first);
    EXPECT_TRUE(procedures.clock().view()) << "one still runs";
    procedures.stop(second);
    EXPECT_FALSE(procedures.clock().view());
}

} // namespace
