// Properties of a file while another thread reads it, or writes to it, and the disk takes its time.

#include "BRAQAudio/BRAQAudioFile.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"
#include "tests/src/FileFixture.h"
#include "tests/src/FileHook.h"
#include "tests/src/PlayerFixture.h"
#include "tests/support/FrameLists.h"

#include <atomic>
#include <chrono>
#include <future>
#include <semaphore>
#include <thread>

namespace {

using braq::tests::audioFile;
using braq::tests::FileHook;
using braq::tests::FrameList;

/// Has the next read, or write, of a file wait for its disk.
class SlowDisk {
  public:
    explicit SlowDisk(const char* function)
        : mHook(function, 0, [this](void*) {
              if (!mIsNext.exchange(false)) {
                  return FileHook::passOn;
              }
              mIsBusy.release();
              mIsDone.acquire();
              return FileHook::passOn;
          }) {}

    /// Runs `operation`, and `ask` while it waits. Fails if that waits, too.
    void during(const std::function<void()>& operation, const std::function<void()>& ask) {
        std::thread other(operation);
        mIsBusy.acquire();
        std::promise<void> isAnswered;
        auto answered = isAnswered.get_future();
        std::thread asking([&] {
            ask();
            isAnswered.set_value();
        });
        EXPECT_EQ(answered.wait_for(std::chrono::seconds(10)), std::future_status::ready) << "it waits for the disk";
        mIsDone.release();
        other.join();
        asking.join();
    }

  private:
    std::atomic<bool> mIsNext{true};
    std::binary_semaphore mIsBusy{0};
    std::binary_semaphore mIsDone{0};
    const FileHook mHook;
};

class FileProperties : public FileTest {};

TEST_F(FileProperties, OfAFileThatIsReadDoNotWaitForTheDisk) {
    const auto file =
        BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(1000, 2, 44100), {.clientSampleRate = 48000});
    EXPECT_EQ(file->frameCount(), 1088);
    EXPECT_EQ(file->exactFrameCount(), 1088);
    EXPECT_EQ(file->maxPacketSize(), 4U);
    file->bitrate();
    file->primeInfo();
    file->channelPositions();
    const FrameList list(2, 100);
    SlowDisk disk("ExtAudioFileRead");
    disk.during(
        [&] {
            UInt32 frames = 100;
            file->readIntoAudioBufferList(list.get(), 0, &frames);
            EXPECT_EQ(frames, 100U);
        },
        [&] {
            EXPECT_EQ(file->clientDataFormat().mSampleRate, 48000.0);
            EXPECT_EQ(file->fileDataFormat().mSampleRate, 44100.0);
            EXPECT_EQ(file->streamDescription()->channelsPerFrame(), 2U);
            EXPECT_EQ(file->fileStreamDescription()->sampleRate(), 44100.0);
            EXPECT_EQ(file->rateScalar(), 0.91875F);
            EXPECT_EQ(file->frameCount(), 1088);
            EXPECT_EQ(file->exactFrameCount(), 1088);
            EXPECT_EQ(file->estimatedDuration(), 1088.0 / 48.0);
            EXPECT_EQ(file->maxPacketSize(), 4U);
            EXPECT_EQ(file->bitrate(), 0U);
            EXPECT_EQ(file->primeOffset(), 0U);
            EXPECT_TRUE(file->channelPositions().empty());
            EXPECT_TRUE(*file == *file);
        });
}

TEST_F(FileProperties, FormatsOfAFileThatIsReadAreKnownThoughNobodyAskedBefore) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(1000, 1, 44100));
    const FrameList list(1, 100);
    SlowDisk disk("ExtAudioFileRead");
    disk.during(
        [&] {
            UInt32 frames = 100;
            file->readIntoAudioBufferList(list.get(), 0, &frames);
        },
        [&] {
            EXPECT_EQ(file->clientDataFormat().mSampleRate, 44100.0);
            EXPECT_EQ(file->fileDataFormat().mChannelsPerFrame, 1U);
        });
}

TEST_F(FileProperties, OfAFileThatIsWrittenDoNotWaitForTheDisk) {
    const auto file = BRAQExtendedAudioFile::initForRecordingWithFilename(path("a.wav"), kAudioFileWAVEType,
                                                                          float32(2, 48000), 0, nullptr);
    EXPECT_EQ(file->streamDescription()->sampleRate(), 48000.0);
    EXPECT_EQ(file->exactFrameCount(), 0);
    const FrameList list(2, 100);
    {
        SlowDisk disk("ExtAudioFileWrite");
        disk.during(
            [&] {
                UInt32 frames = 100;
                file->writeAudioBufferList(list.get(), &frames);
            },
            [&] { EXPECT_EQ(file->streamDescription()->sampleRate(), 48000.0); });
    }
    EXPECT_EQ(file->exactFrameCount(), 100) << "not what it was before";
    EXPECT_EQ(file->frameCount(), 100);
}

TEST_F(FileProperties, OfThePlainFileDoNotWaitForTheDiskEither) {
    const auto file = BRAQAudioFile::initForPlaybackWithFilename(numbered(1000, 1, 44100));
    EXPECT_EQ(file->estimatedDuration(), 1000.0 / 44.1);
    EXPECT_EQ(file->fileDataFormat().mSampleRate, 44100.0);
    std::vector<Float32> samples(100);
    AudioQueueBuffer buffer{};
    buffer.mAudioData = samples.data();
    buffer.mAudioDataBytesCapacity = 400;
    SlowDisk disk("ExtAudioFileRead");
    disk.during(
        [&] {
            UInt32 frames = 0;
            file->readIntoQueueBuffer(&buffer, 0, &frames);
            EXPECT_EQ(frames, 100U);
        },
        [&] {
            EXPECT_EQ(file->frameCount(), 1000);
            EXPECT_EQ(file->estimatedDuration(), 1000.0 / 44.1);
            EXPECT_EQ(file->streamDescription()->sampleRate(), 44100.0);
            EXPECT_EQ(file->fileDataFormat().mSampleRate, 44100.0);
        });
}

TEST_F(FileProperties, AreThoseOfTheFileThatIsSet) {
    const auto one = BRAQExtendedAudioFile::initForPlaybackWithFilename(numbered(1000, 1, 44100));
    const auto other = BRAQExtendedAudioFile::initForPlaybackWithFilename(audioFile("reference-48k-stereo-24.wav"));
    EXPECT_EQ(one->exactFrameCount(), 1000);
    ExtAudioFileDispose(one->audioFile());
    one->setAudioFile(other->audioFile());
    EXPECT_EQ(one->clientDataFormat().mChannelsPerFrame, 2U);
    EXPECT_EQ(one->exactFrameCount(), other->exactFrameCount());
    one->setAudioFile(nullptr);
}

class FilePlayerAnswers : public player_test::PlayerTest {};

TEST_F(FilePlayerAnswers, DoNotWaitForTheDisk) {
    open(50'000);
    SlowDisk disk("ExtAudioFileRead");
    disk.during([&] { player->startFilePlaying(); },
                [&] {
                    EXPECT_GE(player->currentTime(), 0.0);
                    EXPECT_EQ(player->maxTime(), 50'000 / 44.1);
                    EXPECT_GE(player->position(), 0);
                    EXPECT_EQ(player->playbackSpeed(), 1.0F);
                    EXPECT_EQ(player->errorCount(), 0U);
                    EXPECT_EQ(player->lastError(), nullptr);
                    EXPECT_FALSE(player->isPlaying());
                });
}

} // namespace
