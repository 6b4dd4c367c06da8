// Other speeds at the file's own pitch.

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "tests/src/NumberedQueues.h"
#include "tests/src/PlayerFixture.h"

#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>

namespace {

constexpr UInt32 cycle = 512;
constexpr double frequency = 997.0 / 44100.0;

float sineAt(double frame) { return static_cast<float>(std::sin(2.0 * std::numbers::pi * frequency * frame)); }

/// The largest step between neighbours, over the sine's.
double largestStep(const std::vector<Float32>& samples) {
    double step = 0.0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        step = std::max(step, static_cast<double>(std::fabs(samples[i] - samples[i - 1])));
    }
    return step / (2.0 * std::sin(std::numbers::pi * frequency));
}

/// Rising crossings of zero a second.
double pitchOf(const std::vector<Float32>& samples) {
    std::size_t crossings = 0;
    std::size_t first = 0;
    std::size_t last = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        if (samples[i - 1] < 0.0F && samples[i] >= 0.0F) {
            first = crossings == 0 ? i : first;
            last = i;
            ++crossings;
        }
    }
    return static_cast<double>(crossings - 1) * 44100.0 / static_cast<double>(last - first);
}

class FilePlayerPitch : public player_test::PlayerTest {
  protected:
    /// Makes the player of a file with a sine.
    void openSine(UInt64 frames) {
        braq::tests::writeFile(path("sine.wav"), frames, 2, fileRate,
                               [](UInt64 frame, UInt32) { return sineAt(static_cast<double>(frame)); });
        player = BRAQExtendedAudioFilePlayer::initWithFilename(path("sine.wav"), device);
        player->setDelegate(&delegate);
    }
    void hear(int cycles) {
        for (int i = 0; i < cycles; ++i) {
            const auto& now = play(cycle);
            heard.insert(heard.end(), now[0].begin(), now[0].end());
        }
    }
    /// The same while something happens that waits for the device.
    void hearWhile(const std::function<void()>& happening) {
        std::atomic<bool> isOver{false};
        std::jthread stepping([&] {
            std::vector<Float32> left(cycle);
            std::vector<Float32> right(cycle);
            Float32* const to[2]{left.data(), right.data()};
            while (!isOver) {
                if (software->step(cycle, nullptr, to)) {
                    heard.insert(heard.end(), left.begin(), left.end());
                }
            }
        });
        happening();
        isOver = true;
    }
    std::vector<Float32> heard;
};

TEST_F(FilePlayerPitch, StaysAtEverySpeedAndInBothDirections) {
    openSine(400'000);
    player->startFilePlaying();
    player->setKeepsPitch(true);
    EXPECT_TRUE(player->keepsPitch());
    for (const float speed : {1.5F, 0.5F, 4.0F, 0.25F, -1.0F, -1.5F, 2.0F}) {
        player->setPlaybackSpeedAtOnce(speed);
        player->setCurrentFrame(200'000);
        hear(20);
        heard.clear();
        const SInt64 before = player->position();
        hear(60);
        EXPECT_NEAR(pitchOf(heard), 997.0, 3.0) << speed; // within a second
        EXPECT_NEAR(static_cast<double>(player->position() - before), static_cast<double>(speed) * 60 * cycle,
                    0.01 * fileRate)
            << speed;
    }
}

TEST_F(FilePlayerPitch, IsKeptOrNotWithoutAClickWhilePlaying) {
    openSine(2'000'000);
    player->startFilePlaying();
    player->setPlaybackSpeed(0.8F);
    hear(20);
    heard.clear();
    for (const bool keeps : {true, false, true, false, true}) {
        player->setKeepsPitch(keeps);
        hear(40);
        player->setPlaybackSpeed(keeps ? 1.0F : 0.8F);
        hear(37);
        player->setPlaybackSpeed(0.8F);
        hear(11);
    }
    EXPECT_LE(largestStep(heard), 1.1);
}

TEST_F(FilePlayerPitch, LeavesTheSamplesAloneAtTheSpeedOfTheFile) {
    open(60'000);
    player->setKeepsPitch(true);
    player->startFilePlaying();
    expectPlays(0, 30'000);
}

TEST_F(FilePlayerPitch, ChangesTheLengthWithTheSpeedOnly) {
    for (const float speed : {0.5F, 1.25F, 2.0F}) {
        openSine(50'000);
        player->setKeepsPitch(true);
        player->setPlaybackSpeed(speed);
        player->startFilePlaying();
        heard.clear();
        pollfd mainQueue = {queue.fileDescriptor(), POLLIN, 0};
        do {
            hear(1);
            ASSERT_LT(heard.size(), 500'000U);
        } while (::poll(&mainQueue, 1, 1) == 0);
        hearWhile([&] { queue.drain(); });
        EXPECT_FALSE(player->isPlaying());
        const auto isQuiet = [](float sample) { return std::fabs(sample) < 1e-4F; };
        const auto last = std::find_if_not(heard.rbegin(), heard.rend(), isQuiet);
        EXPECT_NEAR(static_cast<double>(heard.rend() - last), 50'000 / static_cast<double>(speed),
                    (speed < 1.0F ? 0.045 : 0.02) * fileRate)
            << speed << ": as far as pieces move sounds";
        EXPECT_EQ(delegate.ends, 1);
        delegate = {};
        player->invalidate();
    }
}

TEST_F(FilePlayerPitch, PausesAndGoesOnWithoutLosingAFrame) {
    openSine(400'000);
    player->outputAudioUnit()->setTransitionTime(8.0);
    player->setKeepsPitch(true);
    player->setPlaybackSpeed(1.5F);
    player->startFilePlaying();
    hear(40);
    hearWhile([&] { player->pausePlaying(); });
    const auto paused = static_cast<double>(player->position());
    EXPECT_NEAR(static_cast<double>(std::ranges::count_if(heard, [](float sample) { return sample != 0.0F; })),
                paused / 1.5, 0.02 * fileRate)
        << "all that was pulled was heard";
    player->resumePlaying();
    hear(40);
    EXPECT_LE(largestStep(heard), 1.1);
    EXPECT_NEAR(pitchOf({heard.end() - 30 * cycle, heard.end()}), 997.0, 3.0);
}

TEST_F(FilePlayerPitch, OfWhatIsHeardIsWhereHeardFrameSays) {
    constexpr UInt64 period = 14'700; // frames from one burst to the next
    braq::tests::writeFile(path("bursts.wav"), 800'000, 2, fileRate, [](UInt64 frame, UInt32) {
        return frame % period < 400 ? sineAt(static_cast<double>(frame % period)) : 0.0F;
    });
    player = BRAQExtendedAudioFilePlayer::initWithFilename(path("bursts.wav"), device);
    player->setKeepsPitch(true);
    player->setPlaybackSpeed(1.5F);
    player->startFilePlaying();
    int bursts = 0;
    UInt32 quiet = cycle;
    for (int round = 0; round < 500; ++round) {
        const auto time = static_cast<Float64>(software->hostTimeOfStep());
        play(cycle);
        for (UInt32 frame = 0; frame < cycle; ++frame) {
            if (std::fabs(outputs[0][frame]) <= 0.1F) {
                ++quiet;
            } else if (std::exchange(quiet, 0U) > 2000) {
                const auto at = static_cast<UInt64>(time + frame / 44100.0 * 1e9);
                const auto place = static_cast<double>(player->heardFrameAt(at)) / static_cast<double>(period);
                EXPECT_LT(std::fabs(place - std::round(place)) * static_cast<double>(period), 0.021 * fileRate)
                    << "a cycle of a usual server, at frame " << player->heardFrameAt(at);
                ++bursts;
            }
        }
    }
    EXPECT_GT(bursts, 20);
}

TEST_F(FilePlayerPitch, IsRefusedAtSpeedsThatAreTooLowOrTooHigh) {
    openSine(10'000);
    player->setPlaybackSpeed(5.0F);
    EXPECT_THROW(player->setKeepsPitch(true), NSException);
    EXPECT_FALSE(player->keepsPitch());
    player->setPlaybackSpeed(-4.0F);
    player->setKeepsPitch(true);
    EXPECT_THROW(player->setPlaybackSpeed(5.0F), NSException);
    EXPECT_THROW(player->setPlaybackSpeedAtOnce(0.2F), NSException);
    EXPECT_EQ(player->playbackSpeed(), 4.0F);
    player->setKeepsPitch(false);
    player->setPlaybackSpeed(5.0F);
    EXPECT_EQ(player->playbackSpeed(), 5.0F);
}

} // namespace
