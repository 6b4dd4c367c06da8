// What units, players and recorders say of frames that a device has lost.

#include "tests/platform/hardware/HardwareHelpers.h"
#include "tests/src/PlayerFixture.h"
#include "tests/src/RecorderFixture.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/WorkerHold.h"

#include <gmock/gmock.h>

namespace {

using braq::tests::sampleOf;
using testing::ElementsAre;
using testing::Pair;

/// What a delegate of a player was told.
struct PlayerDelegate {
    std::vector<UInt64> losses;
    std::thread::id thread;
    void audioFilePlayerDidLoseFrames(const player_test::Player& /*player*/, UInt64 frames) {
        losses.push_back(frames);
        thread = std::this_thread::get_id();
    }
};

class LostFramesOfAPlayer : public player_test::PlayerTest {};

TEST_F(LostFramesOfAPlayer, AreCountedAndToldOnTheMainThread) {
    open(50'000);
    PlayerDelegate listener;
    player->setDelegate(&listener);
    player->startFilePlaying();
    EXPECT_EQ(player->lostFrames(), 0U);
    expectPlays(0, 512);
    software->loseFrames(1000);
    expectPlays(512, 512); // nothing of the file is lost
    EXPECT_EQ(player->lostFrames(), 1000U);
    EXPECT_EQ(player->outputAudioUnit()->lostFrames(), 1000U);
    settle();
    settle();
    queue.drain();
    EXPECT_THAT(listener.losses, ElementsAre(1000U));
    EXPECT_EQ(listener.thread, std::this_thread::get_id());
    player->stopFilePlaying();
    player->startFilePlaying();
    software->loseFrames(24);
    play(512);
    settle();
    settle();
    queue.drain();
    EXPECT_EQ(player->lostFrames(), 1024U);
    EXPECT_THAT(listener.losses, ElementsAre(1000U, 24U));
    EXPECT_EQ(player->errorCount(), 0U);
    player->setDelegate(nullptr);
}

TEST_F(LostFramesOfAPlayer, AreNotToldWhenTheBlockIsTakenAway) {
    open(50'000);
    int calls = 0;
    player->outputAudioUnit()->setLostFramesBlock([&](UInt64) { ++calls; });
    player->startFilePlaying();
    software->loseFrames(1000);
    play(512);
    braq::tests::waitForNotifications();
    braq::tests::waitForNotifications();
    player->outputAudioUnit()->setLostFramesBlock(nullptr);
    queue.drain();
    EXPECT_EQ(calls, 0);
}

/// What a delegate of a recorder was told.
struct RecorderDelegate {
    std::vector<std::pair<UInt64, UInt64>> stretches;
    std::thread::id thread;
    void audioFileRecorderDidLoseFrames(const recorder_test::Recorder& /*recorder*/, const BRAQLostStretch& stretch) {
        stretches.emplace_back(stretch.frame, stretch.frames);
        thread = std::this_thread::get_id();
    }
};

class LostFramesOfARecorder : public recorder_test::RecorderTest {
  protected:
    /// Records 1000 frames, loses 300, and records 1000 more.
    void recordWithALoss() {
        recorder->setDelegate(listener);
        recorder->startRecording();
        captureAll(1000);
        software->loseFrames(300);
        captureAll(1000);
        recorder->stopRecording();
        queue.drain();
    }
    /// The samples of the left channel; the recorder is let go.
    std::vector<Float32> leftOfFile() {
        recorder->invalidate();
        recorder.reset();
        settle();
        const auto samples = braq::tests::samplesOfFile(path("a.wav"));
        std::vector<Float32> left;
        for (std::size_t i = 0; i < samples.size(); i += 2) {
            left.push_back(samples[i]);
        }
        return left;
    }
    static void number(std::vector<Float32>& samples, UInt64 first, UInt64 end) {
        for (UInt64 frame = first; frame < end; ++frame) {
            samples.push_back(sampleOf(frame, 0));
        }
    }

    const std::shared_ptr<RecorderDelegate> listener = std::make_shared<RecorderDelegate>();
};

TEST_F(LostFramesOfARecorder, AreSilenceInTheRecordingWhenTheyAreToBeFilled) {
    open();
    EXPECT_FALSE(recorder->fillsLostFrames());
    recorder->setFillsLostFrames(true);
    EXPECT_TRUE(recorder->fillsLostFrames());
    recordWithALoss();
    EXPECT_EQ(recorder->lostFrames(), 300U);
    EXPECT_EQ(recorder->currentFrame(), 2300);
    EXPECT_EQ(recorder->inputAudioUnit()->lostFrames(), 300U);
    EXPECT_THAT(listener->stretches, ElementsAre(Pair(1000, 300)));
    EXPECT_EQ(listener->thread, std::this_thread::get_id());
    std::vector<Float32> expected;
    number(expected, 0, 1000);
    expected.insert(expected.end(), 300, 0.0F);
    number(expected, 1000, 2000);
    EXPECT_EQ(leftOfFile(), expected);
}

TEST_F(LostFramesOfARecorder, AreToldAndCountedAndTheRecordingGoesOnWithoutThem) {
    open();
    recordWithALoss();
    EXPECT_EQ(recorder->lostFrames(), 300U);
    EXPECT_EQ(recorder->currentFrame(), 2000);
    EXPECT_THAT(listener->stretches, ElementsAre(Pair(1000, 300)));
    std::vector<Float32> expected;
    number(expected, 0, 2000);
    EXPECT_EQ(leftOfFile(), expected);
}

TEST_F(LostFramesOfARecorder, OverAPauseAreNone) {
    open();
    recorder->setFillsLostFrames(true);
    for (int run = 0; run < 3; ++run) {
        recorder->startRecording();
        captureAll(100);
        recorder->stopRecording();
        software->loseFrames(50);
    }
    EXPECT_EQ(recorder->lostFrames(), 0U) << "what is lost while it does not record is not missing";
    EXPECT_EQ(leftOfFile().size(), 300U);
}

TEST_F(LostFramesOfARecorder, ThatTheWriterHasNoRoomForAreFilled) {
    open();
    recorder->setDelegate(listener);
    recorder->setFillsLostFrames(true);
    recorder->startRecording();
    captureAll(100);
    // A slice longer than the ring and the one buffer that the worker gives back before it is held.
    const auto frames = static_cast<UInt32>(2 * recorder_test::ringFrames);
    const braq::tests::FrameList list(2, frames);
    braq::tests::number(list.get(), 100, frames);
    AudioUnitRenderActionFlags flags = 0;
    AudioTimeStamp time{};
    time.mSampleTime = 100;
    {
        const braq::tests::WorkerHold hold(braq::WorkerPoint::flagCleared);
        recorder->inputAudioUnit()->inputProcessingBlock()(&flags, &time, 1, frames, list.get());
    }
    recorder->stopRecording();
    queue.drain();
    EXPECT_GE(recorder->errorCount(), 1U);
    EXPECT_EQ(recorder->currentFrame(), 100 + frames);
    const UInt64 lost = recorder->lostFrames();
    ASSERT_THAT(listener->stretches, ElementsAre(Pair(100 + frames - lost, lost)));
    const auto left = leftOfFile();
    ASSERT_EQ(left.size(), 100U + frames) << "the recording keeps its length";
    EXPECT_EQ(left[100 + frames - lost - 1], sampleOf(100 + frames - lost - 1, 0));
    EXPECT_EQ(left[100 + frames - lost], 0.0F);
}

/// A delegate of a unit.
struct UnitDelegate final : BRAQAudioUnitDelegate {
    void audioUnitDidLoseFrames(const std::shared_ptr<BRAQAudioUnit>& /*unit*/, UInt64 frames) override {
        losses.push_back(frames);
    }
    std::vector<UInt64> losses;
};

TEST_F(LostFramesOfARecorder, AreToldToTheDelegateOfAnInputUnit) {
    const auto unit = BRAQInputAudioUnit::initWithDevice(device, std::nullopt);
    const auto ofUnit = std::make_shared<UnitDelegate>();
    unit->setDelegate(ofUnit);
    unit->start();
    capture(64);
    software->loseFrames(7);
    capture(64);
    unit->stop();
    settle();
    settle();
    queue.drain();
    EXPECT_EQ(unit->lostFrames(), 7U);
    EXPECT_THAT(ofUnit->losses, ElementsAre(7U));
}

} // namespace
