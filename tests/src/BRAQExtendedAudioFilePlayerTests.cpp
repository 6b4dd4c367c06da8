#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"

#include "tests/src/PlayerFixture.h"
#include "tests/src/UnitCalls.h"
#include "tests/support/CapturedLog.h"

#include <fstream>
#include <thread>

namespace {

using braq::tests::CapturedLog;
using braq::tests::UnitCalls;
using player_test::readAhead;
using testing::ElementsAre;
using testing::IsEmpty;

class FilePlayer : public player_test::PlayerTest {};

TEST_F(FilePlayer, TiesAReaderOfItsFileToAnOutputUnit) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(100'000, 2, fileRate));
    player = BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device);
    const auto unit = player->outputAudioUnit();
    EXPECT_EQ(unit->delegate(), static_cast<BRAQAudioUnitDelegate*>(player.get()));
    EXPECT_EQ(unit->streamDescription()->sampleRate(), 44100.0);
    EXPECT_EQ(reader().audioFile(), file);
    EXPECT_EQ(reader().bufferCount(), 3U);
    EXPECT_FALSE(reader().running());
    EXPECT_FALSE(player->isPlaying());
    EXPECT_FALSE(player->looping());
    EXPECT_EQ(player->delegate(), nullptr);
    EXPECT_EQ(player->playbackSpeed(), 1.0F);
    EXPECT_EQ(player->currentFrame(), 0);
    EXPECT_EQ(player->errorCount(), 0U);
    EXPECT_EQ(player->lastError(), nullptr);
    player->startFilePlaying();
    player->stopFilePlaying();
    EXPECT_EQ(player->currentFrame(), static_cast<SInt64>(readAhead)) << "3 buffers of 4096 frames";
}

TEST_F(FilePlayer, PlaysOnTheDefaultDeviceWithoutOne) {
    software->makeDefaultPlaybackDevice();
    player = BRAQExtendedAudioFilePlayer::initWithFilename(numbered(10'000, 2, fileRate), nullptr);
    player->startFilePlaying();
    expectPlays(0, 1000);
}

TEST_F(FilePlayer, IsMadeFromAURLToo) {
    numbered(10'000, 2, fileRate);
    player = BRAQExtendedAudioFilePlayer::initWithFileURL(url("numbered.wav"), device);
    ASSERT_NE(player, nullptr);
    player->startFilePlaying();
    expectPlays(0, 1000);
}

TEST_F(FilePlayer, RaisesForNoFile) {
    expectRaised([&] { BRAQExtendedAudioFilePlayer::initWithAudioFile(nullptr, device); },
                 kAudioUnitErr_FormatNotSupported, "src/BRAQOutputAudioUnit",
                 "-[BRAQOutputAudioUnit initWithStreamDescription:device:]",
                 "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, "
                 "&asbd, sizeof(asbd) )");
}

TEST_F(FilePlayer, RaisesForAFileOfFramesThatAreInterleaved) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(1000, 2, fileRate));
    AudioStreamBasicDescription format = file->clientDataFormat();
    format.mFormatFlags &= ~static_cast<UInt32>(kAudioFormatFlagIsNonInterleaved);
    format.mBytesPerFrame = format.mBytesPerPacket = 8;
    ASSERT_EQ(
        ExtAudioFileSetProperty(file->audioFile(), kExtAudioFileProperty_ClientDataFormat, sizeof(format), &format), 0);
    const CapturedLog log;
    EXPECT_THROW(BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device), NSException);
    EXPECT_EQ(file.use_count(), 1);
}

TEST_F(FilePlayer, IsNotMadeOfAFileThatCannotBeOpenedWhichTheLogTellsOnce) {
    std::ofstream(path("text.wav")) << "this is no audio file";
    for (const std::string name : {"text.wav", "missing.wav"}) {
        const auto location = url(name);
        std::shared_ptr<NSError> error;
        BRAQExtendedAudioFile::initForPlaybackWithFileURL(location, &error);
        ASSERT_NE(error, nullptr);
        // The line of the source that found the error out stands in its description.
        const std::string line = "(ERROR) BRAQExtendedAudioFilePlayer : Could not load audio file at URL " +
                                 location->absoluteString() + ". " + error->description();
        const CapturedLog log;
        const UnitCalls calls;
        EXPECT_EQ(BRAQExtendedAudioFilePlayer::initWithFileURL(location, device), nullptr);
        EXPECT_THAT(log.errors(), ElementsAre(line));
        EXPECT_EQ(BRAQExtendedAudioFilePlayer::initWithFilename(path(name), device), nullptr);
        EXPECT_THAT(log.errors(), ElementsAre(line, line));
        EXPECT_THAT(calls.calls(), IsEmpty()) << "no unit is made";
    }
}

TEST_F(FilePlayer, IsNotMadeOfNoURL) {
    const CapturedLog log;
    EXPECT_EQ(BRAQExtendedAudioFilePlayer::initWithFileURL(nullptr, device), nullptr);
    ASSERT_EQ(log.errors().size(), 1U);
    EXPECT_TRUE(
        log.errors()[0].starts_with("(ERROR) BRAQExtendedAudioFilePlayer : Could not load audio file at URL (null). "))
        << log.errors()[0];
}

TEST_F(FilePlayer, QueuesAStopForItsDelegateOnTheMainThread) {
    open(1000);
    std::thread([&] { player->audioUnitDidStop(nullptr); }).join();
    EXPECT_EQ(delegate.stops, 0) << "it does not wait";
    queue.drain();
    EXPECT_EQ(delegate.stops, 1);
    EXPECT_EQ(delegate.ends, 0);
    EXPECT_EQ(delegate.player, player.get());
    EXPECT_EQ(delegate.thread, std::this_thread::get_id());
    player->notifyDelegateOfStop();
    EXPECT_EQ(delegate.stops, 2);
    player->notifyDelegateOfEOF();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayer, CallsOfItsDelegateWhatThatHas) {
    struct Mute {};
    struct OnlyEnds {
        int ends = 0;
        void audioFilePlayerDidReachEndOfFile(const player_test::Player&) { ++ends; }
    };
    struct OnlyStops {
        int stops = 0;
        void audioFilePlayerDidStop(const player_test::Player&) { ++stops; }
    };
    open(1000);
    const auto notifyOfBoth = [&] {
        player->notifyDelegateOfEOF();
        player->notifyDelegateOfStop();
    };
    Mute mute;
    player->setDelegate(&mute);
    EXPECT_EQ(player->delegate(), &mute);
    notifyOfBoth();
    OnlyEnds onlyEnds;
    player->setDelegate(&onlyEnds);
    notifyOfBoth();
    EXPECT_EQ(onlyEnds.ends, 1);
    OnlyStops onlyStops;
    player->setDelegate(&onlyStops);
    notifyOfBoth();
    EXPECT_EQ(onlyStops.stops, 1);
    EXPECT_EQ(onlyEnds.ends, 1) << "it is no delegate any more";
    player->setDelegate(nullptr);
    EXPECT_EQ(player->delegate(), nullptr);
    notifyOfBoth();
    player->setDelegate(static_cast<OnlyStops*>(nullptr));
    EXPECT_EQ(player->delegate(), nullptr);
    notifyOfBoth();
    EXPECT_EQ(onlyStops.stops, 1);
}

} // namespace
