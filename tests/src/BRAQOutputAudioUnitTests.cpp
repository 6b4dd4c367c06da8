#include "BRAQAudio/BRAQOutputAudioUnit.h"

#include "library/src/BRAQOutputAudioUnit_Callback.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/NumberedQueues.h"
#include "tests/src/Resources.h"
#include "tests/src/UnitCalls.h"
#include "tests/src/UnitFixture.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <future>

namespace {

using braq::tests::CapturedLog;
using braq::tests::FrameList;
using braq::tests::refused;
using braq::tests::sampleOf;
using braq::tests::UnitCalls;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using unit_test::settle;

/// A ring that its worker never fills.
class EmptyRing : public queue_test::OpenQueue {
  public:
    EmptyRing() : OpenQueue(3, 1024, queue_test::planarStereo()) {}
    ~EmptyRing() override { teardownWorkerThread(); }
    void processBuffer(BQueueableAudioBuffer* queued) override { BAudioBufferSetEmpty(&queued->mAudioBuffer); }
};

class OutputAudioUnitTest : public unit_test::UnitTest {
  protected:
    OutputAudioUnitTest() : unit(make()) {
        unit->setAudioBufferQueue(queue);
        unit->setEndOfStreamNotificationBlock([this](BQueueableAudioNotification*) { ++ends; });
    }
    ~OutputAudioUnitTest() override { unit.reset(); }

    std::shared_ptr<BRAQOutputAudioUnit> make() const {
        return BRAQOutputAudioUnit::initWithStreamDescription(device->deviceNativePlaybackStreamDescription(), device);
    }

    /// A cycle, after which the ring is full again.
    const std::vector<std::vector<Float32>>& play(UInt32 frames) {
        const auto& played = step(frames);
        const BRAQAudioBufferQueueGate::ClosedStretch closed(queue->gate());
        queue->waitUntilWorkerIsIdle();
        return played;
    }

    void useQueueThatEndsAt(UInt64 frame) {
        queue = std::make_shared<queue_test::Reader>(3, 512, frame);
        queue->prime();
        unit->setAudioBufferQueue(queue);
    }

    static void expectPlayed(const std::vector<std::vector<Float32>>& played, UInt64 firstFrame) {
        for (std::size_t frame = 0; frame < played[0].size(); ++frame) {
            ASSERT_EQ(played[0][frame], sampleOf(firstFrame + frame, 0)) << "at " << frame;
            ASSERT_EQ(played[1][frame], sampleOf(firstFrame + frame, 1)) << "at " << frame;
        }
    }

    OSStatus callBack(UInt32 frames, AudioBufferList* list) const {
        AudioUnitRenderActionFlags flags = 0;
        const AudioTimeStamp time{};
        return OAUOutputProc(unit.get(), &flags, &time, 0, frames, list);
    }

    void waitForEnds(int count) {
        stepUntil([&] { return ends >= count; });
    }

    std::atomic<int> ends{0}; ///< that were told
    std::shared_ptr<queue_test::Reader> queue = std::make_shared<queue_test::Reader>(3, 1024);
    std::shared_ptr<BRAQOutputAudioUnit> unit;
};

TEST_F(OutputAudioUnitTest, PlaysTheFramesOfItsRingAsTheyAre) {
    queue->prime();
    EXPECT_FALSE(unit->isRunning());
    unit->start();
    EXPECT_TRUE(unit->isRunning());
    for (UInt64 cycle = 0; cycle < 40; ++cycle) {
        expectPlayed(play(512), cycle * 512);
    }
    unit->stop();
    EXPECT_FALSE(unit->isRunning());
    EXPECT_EQ(queue->errorCount(), 0U);
    EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
}

TEST_F(OutputAudioUnitTest, GoesOnWhereItWasStopped) {
    queue->prime();
    unit->start();
    play(100);
    unit->stop();
    unit->start();
    expectPlayed(play(100), 100);
}

TEST_F(OutputAudioUnitTest, FillsUpWithSilenceWhatTheRingDoesNotDeliver) {
    FrameList list(2, 64);
    list.fill(99.0F);
    unit->setAudioBufferQueue(std::make_shared<EmptyRing>());
    EXPECT_EQ(callBack(64, list.get()), 0);
    for (UInt32 frame = 0; frame < 64; ++frame) {
        EXPECT_EQ(list.sample(0, frame), 0.0F);
        EXPECT_EQ(list.sample(1, frame), 0.0F);
    }
}

TEST_F(OutputAudioUnitTest, LeavesAloneWhatTheRingDelivers) {
    queue->prime();
    FrameList list(2, 64);
    list.fill(99.0F);
    EXPECT_EQ(callBack(60, list.get()), 0);
    list.expectNumbered(0, 0, 60);
    EXPECT_EQ(list.sample(0, 60), 99.0F) << "beyond what was asked for";
}

TEST_F(OutputAudioUnitTest, DeliversTheLastFramesAndSignalsTheEndOnce) {
    useQueueThatEndsAt(712);
    unit->start(); // the device is not stepped
    FrameList list(2, 512);
    list.fill(99.0F);
    callBack(512, list.get());
    list.expectNumbered(0, 0, 512);
    EXPECT_EQ(ends, 0);
    callBack(300, list.get());
    list.expectNumbered(0, 512, 200);
    EXPECT_EQ(list.sample(0, 200), 0.0F);
    EXPECT_EQ(list.sample(1, 299), 0.0F);
    EXPECT_TRUE(resource_test::comesTrue([&] {
        callBack(300, list.get());
        return ends == 1;
    }));
    list.fill(99.0F);
    for (int i = 0; i < 3; ++i) {
        callBack(512, list.get());
    }
    EXPECT_EQ(list.sample(0, 0), 99.0F) << "what comes after the end is left as it is";
    settle();
    EXPECT_EQ(ends, 1);
}

TEST_F(OutputAudioUnitTest, GoesOnRunningInSilenceAfterTheEnd) {
    useQueueThatEndsAt(300);
    unit->start();
    play(512);
    waitForEnds(1);
    EXPECT_THAT(play(512)[0], Each(0.0F));
    EXPECT_TRUE(unit->isRunning());
}

TEST_F(OutputAudioUnitTest, PlaysAndSignalsAgainAfterANewStart) {
    for (int round = 1; round <= 3; ++round) {
        useQueueThatEndsAt(300);
        unit->start();
        expectPlayed({{step(300)[0]}, {outputs[1]}}, 0);
        waitForEnds(round);
        unit->stop();
    }
    EXPECT_EQ(ends, 3);
}

TEST_F(OutputAudioUnitTest, ANotificationThatComesAfterANewStartIsNotForThatStart) {
    std::atomic<bool> isHeld{false};
    std::promise<void> goOn;
    std::atomic<int> calls{0};
    unit->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        if (++calls == 1) {
            isHeld = true;
            goOn.get_future().wait();
        }
    });
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    stepUntil([&] { return isHeld.load(); }); // the first end is still being told of
    unit->stop();
    useQueueThatEndsAt(100000);
    unit->start();
    expectPlayed(play(512), 0);
    goOn.set_value();
    EXPECT_TRUE(unit->isRunning());
    expectPlayed(play(512), 512);
    unit->stop();
    unit->setEndOfStreamNotificationBlock([](BQueueableAudioNotification*) {}); // waits for the first one
    EXPECT_EQ(calls, 1);
}

TEST_F(OutputAudioUnitTest, TellsOfAnEndThatComesWhileTheOneBeforeIsStillBeingTold) {
    std::atomic<bool> isHeld{false};
    std::promise<void> goOn;
    std::atomic<int> calls{0};
    unit->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        if (++calls == 1) {
            isHeld = true;
            goOn.get_future().wait();
        }
        ++ends;
    });
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    stepUntil([&] { return isHeld.load(); });
    unit->stop();
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    goOn.set_value();
    EXPECT_TRUE(resource_test::comesTrue([&] {
        step(512);
        return ends == 2;
    }));
    for (int i = 0; i < 10; ++i) {
        step(512);
    }
    unit->stop();
    unit->setEndOfStreamNotificationBlock([](BQueueableAudioNotification*) {}); // waits for the one before
    EXPECT_EQ(calls, 2);
}

TEST_F(OutputAudioUnitTest, TellsOfTheEndOffTheIOThread) {
    std::promise<bool> isInCycle;
    auto answer = isInCycle.get_future();
    unit->setEndOfStreamNotificationBlock(
        [&](BQueueableAudioNotification*) { isInCycle.set_value(BRAQThreadIsInDeviceCycle()); });
    useQueueThatEndsAt(300);
    unit->start();
    stepUntil([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    EXPECT_FALSE(answer.get());
}

TEST_F(OutputAudioUnitTest, MayBeStoppedAndStartedWhenItTellsOfTheEnd) {
    std::atomic<bool> isDone{false};
    unit->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        if (!isDone) { // what has been started anew ends, too
            unit->stop();
            unit->start();
            isDone = true;
        }
    });
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    stepUntil([&] { return isDone.load(); });
    EXPECT_TRUE(unit->isRunning());
    unit->setEndOfStreamNotificationBlock({}); // waits for one that is being told
}

TEST_F(OutputAudioUnitTest, MayBeLetGoWhenItTellsOfTheEnd) {
    std::atomic<bool> isLetGo{false};
    auto last = std::make_shared<std::shared_ptr<BRAQOutputAudioUnit>>(std::move(unit));
    const std::weak_ptr<BRAQOutputAudioUnit> watched = *last;
    (*last)->setEndOfStreamNotificationBlock([&, last](BQueueableAudioNotification*) {
        last->reset();
        isLetGo = true;
    });
    queue = std::make_shared<queue_test::Reader>(3, 512, 300);
    queue->prime();
    (*last)->setAudioBufferQueue(queue);
    (*last)->start();
    step(512);
    stepUntil([&] { return isLetGo.load(); });
    EXPECT_TRUE(watched.expired());
    while (software->step(16)) { // the background thread takes it out of the device's cycle
        std::this_thread::yield();
    }
    while (queue.use_count() != 1) {
        std::this_thread::yield();
    }
}

TEST_F(OutputAudioUnitTest, MayHaveItsEndToldToSomebodyElseWhenItTellsOfTheEnd) {
    std::atomic<bool> isReplaced{false};
    std::atomic<int> second{0};
    unit->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        unit->stop();
        unit->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) { ++second; });
        isReplaced = true;
    });
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    stepUntil([&] { return isReplaced.load(); });
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    stepUntil([&] { return second == 1; });
}

TEST_F(OutputAudioUnitTest, AThrowingEndIsLoggedAndTheNextOneTold) {
    const CapturedLog log;
    unit->setEndOfStreamNotificationBlock([&](BQueueableAudioNotification*) {
        ++ends;
        throw std::runtime_error("no");
    });
    for (int round = 1; round <= 2; ++round) {
        useQueueThatEndsAt(300);
        unit->start();
        step(512);
        waitForEnds(round);
        unit->stop();
    }
    unit->setEndOfStreamNotificationBlock({}); // waits for the last one
    EXPECT_FALSE(log.errors().empty());
}

TEST_F(OutputAudioUnitTest, MayEndWithNobodyToTell) {
    const auto mute = make();
    const auto short_ = std::make_shared<queue_test::Reader>(3, 512, 300);
    short_->prime();
    mute->setAudioBufferQueue(short_);
    mute->start();
    step(512);
    EXPECT_THAT(step(512)[0], Each(0.0F));
    mute->stop();
}

TEST_F(OutputAudioUnitTest, IsSilentWithoutARing) {
    const auto mute = make();
    mute->start();
    EXPECT_THAT(step(512)[0], Each(0.0F));
}

TEST_F(OutputAudioUnitTest, PlaysFasterAndSlowerWithoutLosingItsPlace) {
    EXPECT_EQ(unit->playbackRate(), 1.0);
    queue->prime();
    unit->setPlaybackRate(2.0);
    EXPECT_EQ(unit->playbackRate(), 2.0);
    unit->start();
    for (int cycle = 0; cycle < 20; ++cycle) {
        play(256);
    }
    // In the steady state the ramp of numbered samples rises twice as fast; how long reaching the rate took, the start tells.
    const auto& fast = play(256);
    for (std::size_t frame = 1; frame < fast[0].size(); ++frame) {
        EXPECT_NEAR(fast[0][frame] - fast[0][frame - 1], 16.0F, 0.1F);
    }
    unit->setPlaybackRate(1.0);
    for (int cycle = 0; cycle < 20; ++cycle) { // 107 ms
        play(256);
    }
    const Float32 first = play(256)[0][0];
    EXPECT_EQ(static_cast<UInt64>(first) % 8, 0U) << "the frames are as they are again";
    expectPlayed(outputs, static_cast<UInt64>(first) / 8);
    EXPECT_EQ(queue->errorCount(), 0U);
}

TEST_F(OutputAudioUnitTest, RaisesARateThatIsOutOfRange) {
    for (const double rate : {0.0, -1.0, 1.0 / 33.0, 33.0, std::numeric_limits<double>::quiet_NaN()}) {
        expectRaised([&] { unit->setPlaybackRate(rate); }, kAudioUnitErr_InvalidPropertyValue,
                     "src/BRAQOutputAudioUnit", "-[BRAQOutputAudioUnit setPlaybackRate:]",
                     "AudioUnitSetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, "
                     "rate, 0 )");
    }
    EXPECT_EQ(unit->playbackRate(), 1.0);
    unit->setPlaybackRate(1.0 / 32.0);
    unit->setPlaybackRate(32.0);
}

TEST_F(OutputAudioUnitTest, PlaysAtItsLevel) {
    queue->prime();
    unit->setPlaybackLevel(0.5);
    unit->start();
    const auto& half = play(64);
    EXPECT_EQ(half[0][63], sampleOf(63, 0) / 2);
    unit->setPlaybackLevel(0.0);
    play(960); // 20 ms
    EXPECT_THAT(play(64)[0], Each(0.0F));
    unit->setPlaybackLevel(1.0);
    play(960);
    expectPlayed(play(64), 64 + 960 + 64 + 960);
    expectRaised([&] { unit->setPlaybackLevel(-0.5); }, kAudioUnitErr_InvalidPropertyValue, "src/BRAQOutputAudioUnit",
                 "-[BRAQOutputAudioUnit setPlaybackLevel:]",
                 "AudioUnitSetParameter( mOutputUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, level, 0 )");
}

TEST_F(OutputAudioUnitTest, TellsTheHighestLevelSinceItWasAsked) {
    EXPECT_EQ(unit->outputLevel(0), 0.0F);
    queue->prime();
    unit->start();
    play(100);
    play(100);
    EXPECT_EQ(unit->outputLevel(0), sampleOf(199, 0));
    EXPECT_EQ(unit->outputLevel(0), 0.0F);
    EXPECT_EQ(unit->outputLevel(1), sampleOf(199, 1));
    EXPECT_EQ(unit->outputLevel(2), 0.0F) << "there is no such channel";
    unit->setPlaybackLevel(0.25);
    play(100);
    EXPECT_EQ(unit->outputLevel(0), sampleOf(299, 0) / 4);
}

TEST_F(OutputAudioUnitTest, KeepsItsDelegateForItsUserAndNeverCallsIt) {
    int delegate = 0;
    EXPECT_EQ(unit->delegate(), nullptr);
    unit->setDelegate(&delegate);
    EXPECT_EQ(unit->delegate(), &delegate);
    useQueueThatEndsAt(300);
    unit->start();
    step(512);
    waitForEnds(1);
    unit->stop();
    EXPECT_EQ(delegate, 0);
}

TEST_F(OutputAudioUnitTest, StopsWhenItsDeviceVanishesAndCannotBeStarted) {
    queue->prime();
    unit->start();
    play(64);
    software->remove();
    settle();
    EXPECT_FALSE(unit->isRunning());
    unit->start();
    EXPECT_FALSE(unit->isRunning());
    unit->stop();
}

TEST_F(OutputAudioUnitTest, GoesWhileItRuns) {
    queue->prime();
    unit->start();
    play(64);
    const std::weak_ptr<BRAQOutputAudioUnit> watched = unit;
    unit.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(queue.use_count(), 1);
    EXPECT_FALSE(software->step(16));
}

TEST_F(OutputAudioUnitTest, RaisesItsRunningStateWhenItCannotBeRead) {
    const UnitCalls calls(0, refused);
    expectRaised([&] { (void)unit->isRunning(); }, refused, "src/BRAQOutputAudioUnit",
                 "-[BRAQOutputAudioUnit isRunning]",
                 "AudioUnitGetProperty( mOutputUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, "
                 "&isRunning, &size )");
}

TEST_F(OutputAudioUnitTest, RaisesItsRateWhenItCannotBeRead) {
    const UnitCalls calls(0, refused);
    expectRaised([&] { (void)unit->playbackRate(); }, refused, "src/BRAQOutputAudioUnit",
                 "-[BRAQOutputAudioUnit playbackRate]",
                 "AudioUnitGetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, "
                 "&value )");
}

TEST_F(OutputAudioUnitTest, IgnoresWhatStartingAndStoppingAnswer) {
    for (const bool starts : {true, false}) {
        const CapturedLog log;
        const UnitCalls calls(0, refused);
        starts ? unit->start() : unit->stop();
        EXPECT_THAT(calls.functions(), ElementsAre(starts ? "AUGraphStart" : "AUGraphStop"));
        EXPECT_THAT(log.errors(), IsEmpty());
    }
}

TEST_F(OutputAudioUnitTest, RaisesTheCallThatFailedAndGoesNoFurther) {
    const std::vector<std::string> origins{
        "NewAUGraph(&mGraph)",
        "AUGraphOpen(mGraph)",
        "AUGraphAddNode( mGraph, &varispeedDesc, &mVarispeedNode )",
        "AUGraphAddNode( mGraph, &outDesc, &mOutputNode )",
        "AUGraphNodeInfo(mGraph, mVarispeedNode, ((void*)0), &mVarispeedUnit)",
        "AUGraphNodeInfo(mGraph, mOutputNode, ((void*)0), &mOutputUnit)",
        "AudioUnitSetProperty( mOutputUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, "
        "&defaultID, sizeof(defaultID) )",
        "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, "
        "&outputCallback, sizeof(outputCallback) )",
        "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &asbd, "
        "sizeof(asbd) )",
        "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &asbd, "
        "sizeof(asbd) )",
        "AudioUnitSetProperty( mOutputUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, &asbd, "
        "sizeof(asbd) )",
        "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, "
        "&maxFrames, &mfSize )",
        "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, 0, &israte, "
        "&srSize )",
        "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, 0, &osrate, "
        "&srSize )",
        "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0, "
        "&maxFrames, sizeof(maxFrames) )",
        "AudioUnitSetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 1.0, 0 )",
        "AUGraphConnectNodeInput(mGraph, mVarispeedNode, 0, mOutputNode, 0)",
        "AUGraphInitialize(mGraph)",
    };
    for (std::size_t failing = 0; failing < origins.size(); ++failing) {
        const UnitCalls calls(failing, refused);
        expectRaised([&] { make(); }, refused, "src/BRAQOutputAudioUnit",
                     "-[BRAQOutputAudioUnit initWithStreamDescription:device:]", origins[failing]);
        EXPECT_EQ(calls.calls().size(), failing + 1) << "nothing is undone";
    }
    const UnitCalls calls;
    const auto made = make();
    EXPECT_EQ(calls.calls().size(), origins.size()) << "no step is left out";
}

TEST_F(OutputAudioUnitTest, LogsWhatFailsWhenItGoesAndGoesOn) {
    for (std::size_t failing = 0; failing < 3; ++failing) {
        auto made = make();
        const CapturedLog log;
        const UnitCalls calls(failing, refused);
        made.reset();
        EXPECT_THAT(calls.functions(), ElementsAre("AUGraphStop", "AUGraphUninitialize", "DisposeAUGraph"));
        ASSERT_EQ(log.errors().size(), 1U);
        EXPECT_TRUE(log.errors()[0].starts_with("(ERROR) BRAQOutputAudioUnit : ")) << log.errors()[0];
    }
}

UInt32 varispeedSliceLimit(const UnitCalls& calls) {
    for (const auto& call : calls.calls()) {
        if (call.function == "AudioUnitSetProperty" && call.number == kAudioUnitProperty_MaximumFramesPerSlice) {
            return call.as<UInt32>();
        }
    }
    return 0;
}

TEST_F(OutputAudioUnitTest, WidensTheSliceLimitOfTheVarispeed) {
    const UnitCalls equal;
    make();
    EXPECT_EQ(varispeedSliceLimit(equal), 528U) << "512 frames at equal rates";
}

TEST_F(OutputAudioUnitTest, WidensTheSliceLimitMoreForADeviceOfALowerRate) {
    const auto slow = BRAQSoftwareDevice::deviceWithOptions({.uid = "slow", .sampleRate = 44100.0});
    const auto description = device->deviceNativePlaybackStreamDescription(); // 48 kHz
    const UnitCalls calls;
    BRAQOutputAudioUnit::initWithStreamDescription(description, BRAQAudioDevice::initWithDeviceID(slow->deviceID()));
    EXPECT_EQ(varispeedSliceLimit(calls), 1040U);
}

TEST_F(OutputAudioUnitTest, PlaysOnTheDefaultDeviceWithoutOne) {
    software->makeDefaultPlaybackDevice();
    const auto made =
        BRAQOutputAudioUnit::initWithStreamDescription(device->deviceNativePlaybackStreamDescription(), nullptr);
    made->setAudioBufferQueue(queue);
    queue->prime();
    made->start();
    expectPlayed(play(64), 0);
}

TEST_F(OutputAudioUnitTest, KeepsTheRealtimeRules) {
    for (const double rate : {1.0, 1.25}) {
        queue->prime();
        unit->setPlaybackRate(rate);
        unit->start();
        std::vector<Float32> left(512);
        std::vector<Float32> right(512);
        Float32* const to[2]{left.data(), right.data()};
        braq::tests::runRealtime([&] {
            for (int i = 0; i < 4; ++i) {
                software->step(512, nullptr, to);
            }
        });
        EXPECT_NE(left[511], 0.0F);
        unit->stop();
    }
}

TEST_F(OutputAudioUnitTest, TheSignalOfTheEndKeepsTheRealtimeRules) {
    useQueueThatEndsAt(300);
    unit->start();
    braq::tests::runRealtime([&] {
        software->step(512);
        software->step(512);
    });
    waitForEnds(1);
}

} // namespace
