#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "tests/src/NumberedQueues.h"
#include "tests/src/UnitFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using braq::tests::sampleOf;

/// A device that hands what is played to its input.
class UnitsLoopback : public unit_test::UnitTest {
  protected:
    UnitsLoopback() : UnitTest({.loopback = true}) {
        input = BRAQInputAudioUnit::initWithDevice(device, std::nullopt);
        input->setInputProcessingBlock([this](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            for (UInt32 channel = 0; channel < 2; ++channel) {
                const auto* samples = static_cast<const Float32*>(list->mBuffers[channel].mData);
                captured[channel].insert(captured[channel].end(), samples, samples + frames);
            }
        });
        queue->prime();
        output =
            BRAQOutputAudioUnit::initWithStreamDescription(device->deviceNativePlaybackStreamDescription(), device);
        output->setAudioBufferQueue(queue);
    }
    ~UnitsLoopback() override {
        output.reset();
        input.reset();
    }

    void run(int cycles, UInt32 frames) {
        for (int cycle = 0; cycle < cycles; ++cycle) {
            ASSERT_TRUE(software->step(frames));
            const BRAQAudioBufferQueueGate::ClosedStretch closed(queue->gate());
            queue->waitUntilWorkerIsIdle();
        }
    }

    std::vector<Float32> captured[2];
    const std::shared_ptr<queue_test::Reader> queue = std::make_shared<queue_test::Reader>(3, 4096);
    std::shared_ptr<BRAQInputAudioUnit> input;
    std::shared_ptr<BRAQOutputAudioUnit> output;
};

TEST_F(UnitsLoopback, WhatIsPlayedIsCapturedBitForBit) {
    input->start();
    output->start();
    run(60, 512);
    run(7, 1000); // cycles that are longer than the units' slices
    output->stop();
    input->stop();
    ASSERT_EQ(captured[0].size(), 60U * 512 + 7 * 1000);
    const auto first = static_cast<std::size_t>(
        std::ranges::find_if(captured[1], [](Float32 sample) { return sample != 0.0F; }) - captured[1].begin());
    // The loop's delay becomes that of the longest cycle, once.
    constexpr std::size_t framesBefore = 59 * 512;
    for (std::size_t frame = 0; frame + first < framesBefore; ++frame) {
        ASSERT_EQ(captured[0][first + frame], sampleOf(frame, 0)) << frame;
        ASSERT_EQ(captured[1][first + frame], sampleOf(frame, 1)) << frame;
    }
    const UInt64 last = static_cast<UInt64>(captured[0].back()) / 8;
    for (std::size_t back = 0; back < 5000; ++back) {
        ASSERT_EQ(captured[0][captured[0].size() - 1 - back], sampleOf(last - back, 0)) << back;
        ASSERT_EQ(captured[1][captured[1].size() - 1 - back], sampleOf(last - back, 1)) << back;
    }
    EXPECT_EQ(last, 60U * 512 + 7 * 1000 - 1 - 1000) << "all but the delay";
}

} // namespace
