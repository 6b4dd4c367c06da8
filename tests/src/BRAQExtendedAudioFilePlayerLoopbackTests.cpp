// Each file of the project, from the player through a device that hands it to its input into a recorder's file.

#include "BRAQAudio/BRAQExtendedAudioFileRecorder.h"
#include "tests/src/PlayerFixture.h"
#include "tests/support/Amplitude.h"
#include "tests/support/ChildProcess.h"

#include <poll.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using braq::tests::amplitudeAt;
using player_test::Insides;
using player_test::Player;
using Samples = std::vector<Float32>;

constexpr UInt32 cycleFrames = 2048;
constexpr SInt64 recorderBufferFrames = 32768; // of the three that its writer has

/// What the ffmpeg command decodes, interleaved.
Samples decode(const std::filesystem::path& file, const std::filesystem::path& folder) {
    const auto decoded = folder / "decoded.wav";
    braq::tests::ChildProcess ffmpeg(
        {"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", file, "-c:a", "pcm_f32le", decoded}, folder / "log");
    EXPECT_EQ(ffmpeg.wait(), 0);
    return braq::tests::samplesOfFile(decoded);
}

/// What a reading from the first frame to the last delivers, interleaved.
Samples readWhole(const std::filesystem::path& path) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path);
    const UInt32 channels = file->streamDescription()->channelsPerFrame();
    const braq::tests::FrameList list(channels, 4096);
    Samples all;
    for (UInt32 frames = 4096; frames == 4096;) {
        file->readIntoAudioBufferList(list.get(), 0, &frames);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            for (UInt32 channel = 0; channel < channels; ++channel) {
                all.push_back(static_cast<const Float32*>(list.get()->mBuffers[channel].mData)[frame]);
            }
        }
    }
    return all;
}

class PlayerLoopback : public FileTest {
  protected:
    /// Plays a file and records it. @return the recording, interleaved, from the file's first frame on, and the device's silence
    Samples playAndRecord(const std::filesystem::path& path, UInt32 channels, Float64 deviceRate) {
        const auto software = makeDeviceWith({.uid = "loopback",
                                              .playback = streams({{.channels = channels}}),
                                              .record = streams({{.channels = channels}}),
                                              .sampleRate = deviceRate,
                                              .sampleRates = {deviceRate},
                                              .bufferFrames = cycleFrames,
                                              .loopback = true});
        const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
        auto recording = BRAQExtendedAudioFile::initForRecordingWithFilename(
            this->path("recorded.wav"), kAudioFileWAVEType, float32(channels, deviceRate), 0, device);
        auto recorder = BRAQExtendedAudioFileRecorder::initWithFile(recording, device, std::nullopt);
        auto player = BRAQExtendedAudioFilePlayer::initWithFilename(path, device);
        recorder->startRecording();
        player->startFilePlaying();
        constexpr int mostCycles = 500;
        int cycle = 0;
        for (; cycle < mostCycles && player->isPlaying(); ++cycle) {
            EXPECT_TRUE(software->step(cycleFrames));
            Insides::settle(*player->outputAudioUnit()->audioBufferQueue());
            // A disk may be slower than a device that is stepped.
            EXPECT_TRUE(resource_test::comesTrue(
                [&] { return recorder->currentFrame() <= recording->frameCount() + recorderBufferFrames; }));
            if (BRAQAudioBufferQueueReachedEndOfStream(player->outputAudioUnit()->audioBufferQueue().get())) {
                stopFromMainQueue(*software, *player);
            }
        }
        EXPECT_LT(cycle, mostCycles) << "it never ended";
        EXPECT_TRUE(software->step(cycleFrames)) << "what is in the loop";
        EXPECT_EQ(player->errorCount(), 0U);
        recorder->stopRecording();
        EXPECT_EQ(recorder->errorCount(), 0U);
        const auto frames = static_cast<std::size_t>(recorder->currentFrame());
        player->invalidate();
        recorder->invalidate();
        player.reset();
        recorder.reset();
        recording.reset();
        Samples recorded = braq::tests::samplesOfFile(this->path("recorded.wav"));
        EXPECT_EQ(recorded.size(), frames * channels);
        const std::ptrdiff_t loop = std::ptrdiff_t{cycleFrames} * channels;
        EXPECT_TRUE(
            std::all_of(recorded.begin(), recorded.begin() + loop, [](Float32 sample) { return sample == 0.0F; }));
        recorded.erase(recorded.begin(), recorded.begin() + loop);
        return recorded;
    }

    /// The unit is stopped when what its converters hold has been played, so somebody has to step, slowly enough for the
    /// recorder.
    void stopFromMainQueue(BRAQSoftwareDevice& software, const BRAQExtendedAudioFilePlayer& player) {
        pollfd watched = {queue.fileDescriptor(), POLLIN, 0};
        ASSERT_TRUE(resource_test::comesTrue([&] {
            software.step(cycleFrames); // the end is signalled in every cycle until it is told
            return ::poll(&watched, 1, 5) == 1;
        })) << "the end was never told";
        std::thread cycles([&] {
            while (player.isPlaying()) {
                software.step(cycleFrames);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        drainUntil([&] { return !player.isPlaying(); });
        cycles.join();
    }

    void expectAtItsBeginning(const Samples& recorded, const Samples& expected) {
        ASSERT_GE(recorded.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(recorded[i], expected[i]) << "sample " << i;
        }
        EXPECT_TRUE(std::all_of(recorded.begin() + static_cast<std::ptrdiff_t>(expected.size()), recorded.end(),
                                [](Float32 sample) { return sample == 0.0F; }));
    }
};

std::string nameOfTest(std::string file) {
    std::ranges::replace_if(
        file, [](unsigned char letter) { return std::isalnum(letter) == 0; }, '_');
    return file;
}

struct PlayedFile {
    const char* name;
    UInt32 channels;
    Float64 rate;
    bool isLossless;

    friend std::ostream& operator<<(std::ostream& out, const PlayedFile& file) { return out << file.name; }
};

class PlayerLoopbackOfAFile : public PlayerLoopback, public testing::WithParamInterface<PlayedFile> {};

TEST_P(PlayerLoopbackOfAFile, IsRecordedBitForBitFromTheFirstFrameToTheLast) {
    const auto file = braq::tests::audioFile(GetParam().name);
    const Samples recorded = playAndRecord(file, GetParam().channels, GetParam().rate);
    expectAtItsBeginning(recorded, GetParam().isLossless ? decode(file, folder.path()) : readWhole(file));
}

INSTANTIATE_TEST_SUITE_P(
    AtItsOwnRate, PlayerLoopbackOfAFile,
    testing::Values(PlayedFile{"reference-44k-stereo-16.wav", 2, 44100, true},
                    PlayedFile{"reference-44k-stereo-float.wav", 2, 44100, true},
                    PlayedFile{"reference-48k-stereo-24.wav", 2, 48000, true},
                    PlayedFile{"mono-22k-16.wav", 1, 22050, true}, PlayedFile{"six-channel-48k-24.wav", 6, 48000, true},
                    PlayedFile{"same-as-reference-16.aiff", 2, 44100, true},
                    PlayedFile{"same-as-reference-16.caf", 2, 44100, true},
                    PlayedFile{"same-as-reference-16.flac", 2, 44100, true},
                    PlayedFile{"same-as-reference-alac.m4a", 2, 44100, true},
                    PlayedFile{"lossy-aac.m4a", 2, 44100, false}, PlayedFile{"lossy-aac.aac", 2, 44100, false},
                    PlayedFile{"lossy-cbr.mp3", 2, 44100, false}, PlayedFile{"lossy-vbr.mp3", 2, 44100, false},
                    PlayedFile{"lossy-vorbis.ogg", 2, 44100, false}, PlayedFile{"lossy-opus.opus", 2, 48000, false}),
    [](const auto& of) { return nameOfTest(of.param.name); });

/// Energy of one channel, and the second around which it lies.
struct Weight {
    double energy = 0.0;
    double centre = 0.0;
};

Weight weigh(const Samples& samples, std::size_t channels, double rate) {
    Weight weight;
    for (std::size_t i = 0; i < samples.size() / channels; ++i) {
        const double square = static_cast<double>(samples[i * channels]) * static_cast<double>(samples[i * channels]);
        weight.energy += square;
        weight.centre += square * static_cast<double>(i) / rate;
    }
    weight.centre /= weight.energy;
    return weight;
}

class PlayerLoopbackAtAnotherRate : public PlayerLoopback, public testing::WithParamInterface<const char*> {};

TEST_P(PlayerLoopbackAtAnotherRate, IsHeardAtItsLevelAndAtItsTimes) {
    constexpr double fileRate = 44100;
    constexpr double deviceRate = 48000;
    const auto file = braq::tests::audioFile(GetParam());
    const Samples original = readWhole(file);
    const Samples recorded = playAndRecord(file, 2, deviceRate);
    const Weight expected = weigh(original, 2, fileRate);
    const Weight heard = weigh(recorded, 2, deviceRate);
    EXPECT_NEAR(heard.energy / deviceRate, expected.energy / fileRate, expected.energy / fileRate * 0.005);
    // A speed that is wrong by a thousandth moves it by 2 ms.
    EXPECT_NEAR(heard.centre, expected.centre, 0.0002);
}

INSTANTIATE_TEST_SUITE_P(Of, PlayerLoopbackAtAnotherRate,
                         testing::Values("reference-44k-stereo-16.wav", "lossy-aac.m4a", "lossy-vbr.mp3",
                                         "lossy-vorbis.ogg"),
                         [](const auto& of) { return nameOfTest(of.param); });

Samples channelOf(const Samples& samples, std::size_t channel, std::size_t channels) {
    Samples one;
    for (std::size_t i = channel; i < samples.size(); i += channels) {
        one.push_back(samples[i]);
    }
    return one;
}

TEST_F(PlayerLoopback, KeepsThePitchOfEveryChannelAtAnotherRate) {
    constexpr double deviceRate = 44100;
    constexpr std::size_t channels = 6;
    const auto file = braq::tests::audioFile("six-channel-48k-24.wav");
    const Samples original = readWhole(file);
    Samples recorded = playAndRecord(file, channels, deviceRate);
    // As long as the file, to the frame; what follows is silence.
    recorded.resize(
        static_cast<std::size_t>(std::llround(static_cast<double>(original.size() / channels) / 48000 * deviceRate)) *
        channels);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        const double frequency = 100.0 * static_cast<double>(channel + 1);
        const double expected = amplitudeAt(frequency, channelOf(original, channel, channels), 48000);
        ASSERT_GT(expected, 0.01);
        EXPECT_NEAR(amplitudeAt(frequency, channelOf(recorded, channel, channels), deviceRate), expected,
                    expected * 0.001)
            << "channel " << channel + 1;
    }
}

} // namespace
