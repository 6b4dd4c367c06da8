#include "BRAQAudio/BRAQExtendedAudioFileRecorder.h"

#include "tests/src/FileHook.h"
#include "tests/src/RecorderFixture.h"
#include "tests/src/Resources.h"
#include "tests/src/UnitCalls.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <atomic>
#include <limits>
#include <semaphore>

namespace {

using braq::tests::CapturedLog;
using braq::tests::FileHook;
using braq::tests::refused;
using braq::tests::sampleOf;
using braq::tests::UnitCall;
using braq::tests::UnitCalls;
using recorder_test::ringFrames;
using testing::ElementsAre;
using testing::IsEmpty;

class FileRecorder : public recorder_test::RecorderTest {
  protected:
    /// The names of the properties that `change` notifies, of those that can be observed.
    template <class Change>
    std::vector<std::string> notifiedBy(Change change) {
        std::vector<std::string> notified;
        std::vector<NSObserverToken> tokens;
        for (const char* key : {"currentFrame", "currentTime"}) {
            tokens.push_back(recorder->addObserver(key, [&, key](const std::string&) { notified.emplace_back(key); }));
        }
        change();
        return notified;
    }
};

TEST_F(FileRecorder, TiesAnInputUnitToItsFile) {
    const auto file = create();
    recorder = BRAQExtendedAudioFileRecorder::initWithFile(file, device, {{1, 0}});
    const auto unit = recorder->inputAudioUnit();
    EXPECT_EQ(unit->delegate(), recorder);
    EXPECT_EQ(unit->device(), device);
    EXPECT_THAT(unit->channels().value(), ElementsAre(1, 0));
    EXPECT_EQ(unit->streamDescription()->sampleRate(), 48000.0);
    EXPECT_TRUE(unit->inputProcessingBlock());
    EXPECT_EQ(recorder->recordFile(), file);
    EXPECT_EQ(recorder->delegate(), nullptr);
    EXPECT_FALSE(recorder->isFileRecording());
    EXPECT_EQ(recorder->currentFrame(), 0);
    EXPECT_EQ(recorder->currentTime(), 0.0);
    EXPECT_EQ(recorder->errorCount(), 0U);
    EXPECT_EQ(recorder->lastError(), nullptr);
}

TEST_F(FileRecorder, AnotherNumberOfChannelsFailsAnAssertion) {
    for (const auto& [fileChannels, channels] :
         std::vector<std::pair<UInt32, std::vector<SInt32>>>{{1, {0, 1}}, {2, {0}}, {2, {}}}) {
        const auto file = create(fileChannels);
        const UnitCalls calls;
        try {
            BRAQExtendedAudioFileRecorder::initWithFile(file, device, channels);
            ADD_FAILURE() << "nothing was raised";
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), NSInternalInconsistencyException);
            EXPECT_EQ(raised.reason(),
                      "Assertion failed in -[BRAQExtendedAudioFileRecorder initWithFile:device:recordChannels:], "
                      "BRAQExtendedAudioFileRecorder:44: Invalid parameter not satisfying: !inChannels || ( "
                      "[inChannels count] == [[file streamDescription] channelsPerFrame] )");
        }
        EXPECT_THAT(calls.functions(), IsEmpty()) << "nothing is built";
        EXPECT_EQ(file.use_count(), 1);
    }
}

TEST_F(FileRecorder, RaisesForNoFile) {
    EXPECT_THROW(BRAQExtendedAudioFileRecorder::initWithFile(nullptr, device, {{0, 1}}), NSException);
    expectRaised([&] { BRAQExtendedAudioFileRecorder::initWithFile(nullptr, device, std::nullopt); },
                 kAudioUnitErr_FormatNotSupported, "src/BRAQInputAudioUnit",
                 "-[BRAQInputAudioUnit audioUnitInitialize]",
                 "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, "
                 "&asbd, sizeof(asbd) )");
}

TEST_F(FileRecorder, RaisesForAFileOfFramesThatAreInterleaved) {
    const auto file = create();
    AudioStreamBasicDescription format = file->clientDataFormat();
    format.mFormatFlags &= ~static_cast<UInt32>(kAudioFormatFlagIsNonInterleaved);
    format.mBytesPerFrame = format.mBytesPerPacket = 8;
    ASSERT_EQ(
        ExtAudioFileSetProperty(file->audioFile(), kExtAudioFileProperty_ClientDataFormat, sizeof(format), &format), 0);
    const CapturedLog log;
    EXPECT_THROW(BRAQExtendedAudioFileRecorder::initWithFile(file, device, std::nullopt), NSException);
    EXPECT_EQ(file.use_count(), 1);
}

TEST_F(FileRecorder, WritesEveryCapturedFrameInOrder) {
    open();
    EXPECT_FALSE(recorder->isFileRecording());
    recorder->startRecording();
    EXPECT_TRUE(recorder->isFileRecording());
    captureAll(48000);
    EXPECT_EQ(recorder->currentFrame(), 48000);
    EXPECT_EQ(recorder->currentTime(), 1000.0);
    for (const UInt32 frames : {1U, 333U, 2000U, 16U}) {
        EXPECT_TRUE(capture(frames));
    }
    recorder->stopRecording();
    EXPECT_FALSE(recorder->isFileRecording());
    EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
    EXPECT_EQ(recorder->recordFile()->frameCount(), static_cast<SInt64>(captured)) << "it is there before it is closed";
    EXPECT_EQ(recorder->currentFrame(), static_cast<SInt64>(captured));
    EXPECT_EQ(recorder->errorCount(), 0U);
    EXPECT_EQ(closedFile(), numbers(0, captured));
}

TEST_F(FileRecorder, GoesOnBehindWhatItHasRecorded) {
    open();
    for (const UInt64 frames : {UInt64{1000}, UInt64{40'000}, UInt64{0}, UInt64{7}, UInt64{32'768}}) {
        recorder->startRecording();
        captureAll(frames);
        recorder->stopRecording();
        EXPECT_EQ(recorder->currentFrame(), static_cast<SInt64>(captured));
        EXPECT_EQ(recorder->recordFile()->frameCount(), static_cast<SInt64>(captured));
    }
    recorder->stopRecording();
    recorder->startRecording();
    recorder->startRecording();
    captureAll(100);
    recorder->stopRecording();
    EXPECT_EQ(closedFile(), numbers(0, captured));
}

TEST_F(FileRecorder, TakesTheChannelsInTheOrderThatIsAskedFor) {
    open({{1, 0}});
    recorder->startRecording();
    captureAll(100);
    recorder->stopRecording();
    recorder->invalidate();
    recorder.reset();
    settle();
    const auto samples = braq::tests::samplesOfFile(path("a.wav"));
    ASSERT_EQ(samples.size(), 200U);
    for (UInt64 frame = 0; frame < 100; ++frame) {
        EXPECT_EQ(samples[2 * frame], sampleOf(frame, 1));
        EXPECT_EQ(samples[2 * frame + 1], sampleOf(frame, 0));
    }
}

TEST_F(FileRecorder, RecordsFromTheDefaultDeviceWithoutOne) {
    software->makeDefaultRecordDevice();
    recorder = BRAQExtendedAudioFileRecorder::initWithFile(create(), nullptr, std::nullopt);
    recorder->startRecording();
    captureAll(1000);
    recorder->stopRecording();
    EXPECT_EQ(closedFile(), numbers(0, 1000));
}

TEST_F(FileRecorder, TheFileIsCompleteWhenItsLastHolderLetsGo) {
    open();
    auto file = recorder->recordFile();
    recorder->startRecording();
    captureAll(1000);
    recorder->invalidate();
    recorder.reset();
    settle();
    EXPECT_EQ(file.use_count(), 1);
    EXPECT_EQ(file->frameCount(), 1000) << "it is not closed under its other holder";
    file.reset();
    EXPECT_EQ(braq::tests::framesOfFile(path("a.wav")), numbers(0, 1000));
}

TEST_F(FileRecorder, CountsOnFromTheFrameThatIsSet) {
    open();
    recorder->startRecording();
    captureAll(100);
    recorder->setCurrentFrame(10'000);
    EXPECT_EQ(recorder->currentFrame(), 10'000);
    captureAll(48);
    EXPECT_EQ(recorder->currentFrame(), 10'048);
    recorder->setCurrentFrame(-48);
    captureAll(48);
    EXPECT_EQ(recorder->currentFrame(), 0);
    recorder->setCurrentFrame(std::numeric_limits<SInt64>::max());
    EXPECT_EQ(recorder->currentFrame(), std::numeric_limits<SInt64>::max());
    captureAll(1);
    EXPECT_EQ(recorder->currentFrame(), std::numeric_limits<SInt64>::min()) << "round";
    recorder->stopRecording();
    EXPECT_EQ(closedFile(), numbers(0, captured)) << "the file stays as it is";
}

TEST_F(FileRecorder, AFrameThatIsSetWhileItRecordsIsNotLost) {
    open();
    recorder->startRecording();
    std::atomic<bool> isDone{false};
    std::thread capturing([&] {
        while (!isDone) {
            software->step(16);
        }
    });
    EXPECT_TRUE(resource_test::comesTrue([&] { return recorder->currentFrame() > 0; }));
    constexpr SInt64 apart = 1'000'000'000;
    for (SInt64 set = apart; set < 300'000 * apart; set += apart) {
        recorder->setCurrentFrame(set);
        if (recorder->currentFrame() < set) {
            ADD_FAILURE() << "after " << set / apart << " times";
            break;
        }
    }
    isDone = true;
    capturing.join();
}

TEST_F(FileRecorder, TellsObserversOfTheFrameAndOfTheTimeThatDependsOnIt) {
    open();
    EXPECT_THAT(notifiedBy([&] { recorder->setCurrentFrame(10); }), ElementsAre("currentFrame", "currentTime"));
    EXPECT_THAT(notifiedBy([&] {
                    recorder->startRecording();
                    captureAll(1000);
                    recorder->stopRecording();
                }),
                IsEmpty());
    EXPECT_THAT(recorder->keyPathsForValuesAffectingValueForKey("currentTime"), ElementsAre("currentFrame"));
    EXPECT_THAT(recorder->keyPathsForValuesAffectingValueForKey("currentFrame"), IsEmpty());
}

TEST_F(FileRecorder, CountsTimeAtTheRateOfTheFile) {
    recorder = BRAQExtendedAudioFileRecorder::initWithFile(create(2, 44100.0), device, std::nullopt);
    recorder->setCurrentFrame(441);
    EXPECT_EQ(recorder->currentTime(), 10.0);
}

TEST_F(FileRecorder, CountsWhatTheRingHasNoRoomForAndGoesOn) {
    open();
    std::counting_semaphore<> writing{0};
    std::counting_semaphore<> mayWrite{0};
    const UInt64 lost = 1000;
    {
        const FileHook hook("ExtAudioFileWrite", 0, [&](void*) {
            writing.release();
            mayWrite.acquire();
            return FileHook::passOn;
        });
        recorder->startRecording();
        captureAll(32'768);
        writing.acquire(); // the worker is held with the first buffer
        captureAll(ringFrames - 32'768);
        EXPECT_EQ(recorder->errorCount(), 0U);
        captureAll(lost);
        EXPECT_EQ(recorder->errorCount(), 2U) << "cycles";
        EXPECT_EQ(recorder->currentFrame(), static_cast<SInt64>(ringFrames + lost)) << "lost ones count, too";
        mayWrite.release(3);
        recorder->stopRecording();
    }
    std::vector<UInt64> errorsBeforeTheUnit;
    {
        UnitCalls calls;
        calls.beforeCall = [&](const UnitCall& call) {
            if (call.function == "AudioOutputUnitStart") {
                errorsBeforeTheUnit.push_back(recorder->errorCount());
            }
        };
        recorder->startRecording();
    }
    EXPECT_THAT(errorsBeforeTheUnit, ElementsAre(0U)) << "the writer counts anew before frames come";
    captureAll(100);
    recorder->stopRecording();
    auto expected = numbers(0, ringFrames);
    const auto after = numbers(ringFrames + lost, captured);
    expected.insert(expected.end(), after.begin(), after.end());
    EXPECT_EQ(closedFile(), expected);
}

TEST_F(FileRecorder, KeepsTheRealtimeRules) {
    open();
    recorder->startRecording();
    const std::vector<Float32> ones(512, 1.0F);
    const Float32* const from[2]{ones.data(), ones.data()};
    SInt64 frame = 0;
    braq::tests::runRealtime([&] {
        for (int cycle = 0; cycle < 130; ++cycle) { // two buffers are handed over
            software->step(512, from);
        }
        frame = recorder->currentFrame();
    });
    EXPECT_EQ(frame, 130 * 512);
    recorder->stopRecording();
    EXPECT_EQ(recorder->recordFile()->frameCount(), 130 * 512);
}

TEST_F(FileRecorder, RaisesWhatItsUnitRefuses) {
    open();
    software->failStarts(1, kAudioHardwareUnspecifiedError);
    expectRaised([&] { recorder->startRecording(); }, kAudioHardwareUnspecifiedError, "src/BRAQAudioUnit",
                 "-[BRAQAudioUnit start]", "AudioOutputUnitStart( mAudioUnit )");
    EXPECT_FALSE(recorder->isFileRecording());
    recorder->stopRecording();
    recorder->startRecording();
    captureAll(100);
    recorder->stopRecording();
    EXPECT_EQ(closedFile(), numbers(0, 100));
}

TEST_F(FileRecorder, WritesWhatWasCapturedAlsoWhenItsUnitCannotBeStopped) {
    open();
    recorder->startRecording();
    captureAll(1000);
    {
        const UnitCalls calls(0, refused);
        expectRaised([&] { recorder->stopRecording(); }, refused, "src/BRAQAudioUnit", "-[BRAQAudioUnit stop]",
                     "AudioOutputUnitStop( mAudioUnit )");
    }
    EXPECT_EQ(recorder->recordFile()->frameCount(), 1000);
    EXPECT_TRUE(recorder->isFileRecording());
    captureAll(500);
    recorder->stopRecording();
    EXPECT_EQ(closedFile(), numbers(0, 1500));
}

} // namespace
