#include "tests/support/Amplitude.h"
#include "tests/support/NumberedFiles.h"
#include "tests/tools/pipewire/Sound.h"
#include "tests/tools/pipewire/ToolFixture.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace tool_test;
using braq::tests::amplitudeAt;
using braq::tests::audioFile;
using braq::tests::eventually;
using testing::HasSubstr;

class Tool_Play : public ToolOnASink {
  protected:
    /// Plays to the end, and returns all that was heard of it. Once more where a busy machine lets frames go missing.
    Sound hear(std::vector<std::string> arguments, const std::string& sink = "test.sink") const {
        constexpr std::size_t mostFrames = 1'000'000;
        constexpr int mostTimes = 5;
        arguments.insert(arguments.begin(), {"play", "--device", sink});
        for (int i = 0; i < mostTimes; ++i) {
            const Capture capture(sink + ".monitor", mostFrames);
            EXPECT_EQ(start("play", arguments)->wait(), 0) << written("play");
            // What was played last is on its way.
            const std::size_t end = capture.frames() + 2 * cycle;
            EXPECT_TRUE(eventually([&] { return capture.frames() >= end; }));
            if (capture.lostFrames() == 0 && written("play").find("dropouts") == std::string::npos) {
                return capture.sound();
            }
        }
        ADD_FAILURE() << "the machine was too busy to play anything without dropouts";
        return {};
    }
    void expectHeardAsItIsRead(const std::string& name, const std::string& sink = "test.sink") const {
        const Sound file = readFile(audioFile(name)).trimmed();
        const Sound heard = hear({audioFile(name)}, sink).trimmed();
        EXPECT_GT(file.frames(), 20'000U) << name;
        EXPECT_EQ(heard.frames(), file.frames()) << name;
        EXPECT_EQ(firstDifference(heard, file), file.frames()) << name;
    }
};

TEST_F(Tool_Play, TheSinkGetsALosslessFileBitForBit) {
    const Sound file = toneAndNoise(100'000, rate);
    writeFile(path("file.wav"), file, rate);
    const Sound heard = hear({path("file.wav")}).trimmed();
    EXPECT_EQ(heard.frames(), file.frames());
    EXPECT_EQ(firstDifference(heard, file), file.frames());
    EXPECT_THAT(written("play"), HasSubstr(", 0 underruns"));
}

TEST_F(Tool_Play, FilesOfItsRateArriveAsTheyAreRead) {
    for (const char* name : {"reference-48k-stereo-24.wav", "lossy-opus.opus"}) {
        expectHeardAsItIsRead(name);
    }
}

TEST_F(Tool_Play, SixChannelsArriveEachAtItsOwnSpeaker) {
    server.create({.name = "surround", .positions = "FL,FR,FC,LFE,SL,SR"});
    expectHeardAsItIsRead("six-channel-48k-24.wav", "surround");
}

/// A program that is started without the sound server, or loses it.
class Tool_PlayWithoutAServer : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return folder.path() / name; }
    std::string written() const {
        std::ifstream file(path("play.log"));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    braq::tests::PrivateSoundServer server;
    braq::tests::TemporaryFolder folder;
};

TEST_F(Tool_PlayWithoutAServer, SaysSoAndEnds) {
    writeFile(path("file.wav"), toneAndNoise(48'000, rate), rate);
    braq::tests::ChildProcess tool({BRAQ_TOOL, "play", path("file.wav")}, path("play.log"));
    EXPECT_EQ(tool.wait(), 1);
    EXPECT_THAT(written(), testing::StartsWith("braq: there is no sound server; "));
}

TEST_F(Tool_PlayWithoutAServer, GoesOnWithTheServerWhenItComesBack) {
    writeFile(path("file.wav"), toneAndNoise(600'000, rate), rate);
    server.keep({.name = "test.sink"});
    server.start();
    braq::tests::ChildProcess tool({BRAQ_TOOL, "play", path("file.wav")}, path("play.log"));
    const auto isHeard = [] {
        const Capture capture("test.sink.monitor", 1'000'000);
        return eventually([&] { return capture.sound().trimmed().frames() > 50'000; });
    };
    ASSERT_TRUE(isHeard()) << written();
    server.kill();
    ASSERT_TRUE(eventually([&] { return written().find("gone; waiting") != std::string::npos; })) << written();
    server.start();
    EXPECT_TRUE(isHeard()) << written();
    EXPECT_EQ(tool.wait(), 0) << written();
    EXPECT_NE(written().find("to 0:12.5, 0 underruns"), std::string::npos) << written();
}

/// On a server that runs at the rate of most files.
class Tool_PlayAt44100 : public Tool_Play {
  protected:
    void SetUp() override {
        server.configure("default.clock.rate", "44100");
        Tool_Play::SetUp();
    }
};

TEST_F(Tool_PlayAt44100, LosslessFilesArriveBitForBit) {
    for (const char* name :
         {"reference-44k-stereo-16.wav", "reference-44k-stereo-float.wav", "same-as-reference-16.aiff",
          "same-as-reference-16.caf", "same-as-reference-16.flac", "same-as-reference-alac.m4a"}) {
        expectHeardAsItIsRead(name);
    }
}

TEST_F(Tool_PlayAt44100, LossyFilesAreWhatIsReadOfThem) {
    for (const char* name : {"lossy-aac.m4a", "lossy-aac.aac", "lossy-cbr.mp3", "lossy-vbr.mp3", "lossy-vorbis.ogg"}) {
        expectHeardAsItIsRead(name);
    }
}

class Tool_PlayAt22050 : public Tool_Play {
  protected:
    void SetUp() override {
        server.configure("default.clock.rate", "22050");
        Tool_Play::SetUp();
    }
};

TEST_F(Tool_PlayAt22050, AMonoFileArrivesBitForBitAtOneSpeaker) {
    server.create({.name = "mono", .positions = "MONO"});
    expectHeardAsItIsRead("mono-22k-16.wav", "mono");
}

TEST_F(Tool_Play, BackwardsTheLastFrameComesFirst) {
    const Sound file = toneAndNoise(60'000, rate);
    writeFile(path("file.wav"), file, rate);
    const Sound heard = hear({path("file.wav"), "--speed", "-1"}).trimmed();
    EXPECT_EQ(heard.frames(), file.frames());
    EXPECT_EQ(firstDifference(heard, file.backwards()), file.frames());
}

TEST_F(Tool_Play, BeginsWhereItIsToldTo) {
    const Sound file = toneAndNoise(60'000, rate);
    writeFile(path("file.wav"), file, rate);
    constexpr std::size_t rise = 384; // 8 ms, in which it comes from silence
    const auto expectRise = [](const Sound& heard, const Sound& expected) {
        ASSERT_EQ(heard.frames(), expected.frames());
        EXPECT_LT(std::fabs(heard.right()[0]), 0.001F);
        const std::size_t rest = expected.frames() - rise;
        EXPECT_EQ(firstDifference(heard.part(rise, rest), expected.part(rise, rest)), rest);
    };
    expectRise(hear({path("file.wav"), "--start", "1"}).trimmed(), file.part(48'000, 12'000));
    expectRise(hear({path("file.wav"), "--start", "0:00.5", "--speed", "-1"}).trimmed(),
               file.part(0, 24'000).backwards());
}

TEST_F(Tool_Play, AFileFollowsAnotherWithoutAGap) {
    const Sound one = toneAndNoise(20'001, rate);
    const Sound other = toneAndNoise(30'000, rate).backwards();
    writeFile(path("one.wav"), one, rate);
    writeFile(path("other.wav"), other, rate);
    const auto expectAll = [&](const Sound& heard, const std::vector<Sound>& files) {
        std::size_t first = 0;
        for (const Sound& file : files) {
            EXPECT_EQ(firstDifference(heard.part(first, file.frames()), file), file.frames()) << "behind " << first;
            first += file.frames();
        }
        EXPECT_EQ(heard.frames(), first) << "frames of silence in between, or too few";
    };
    expectAll(hear({path("one.wav"), path("other.wav"), path("one.wav")}).trimmed(), {one, other, one});
    EXPECT_THAT(written("play"), HasSubstr("played " + path("one.wav") + " to 0:00.4, 0 underruns\nplaying " +
                                           path("other.wav") + " (0:00.6, 48000 Hz, 2 channels) on Speakers\nplayed " +
                                           path("other.wav") + " to 0:00.6, 0 underruns\nplaying " + path("one.wav")));
    expectAll(hear({path("one.wav"), path("other.wav"), "--speed", "-1"}).trimmed(),
              {one.backwards(), other.backwards()});
}

TEST_F(Tool_Play, AFileWithAnotherRateFollowsWithoutAGap) {
    const std::vector<std::pair<double, double>> rates{{48000.0, 44100.0}, {44100.0, 48000.0}, {44100.0, 96000.0}};
    for (const auto& [first, second] : rates) {
        writeFile(path("first.wav"), fullSine(static_cast<std::size_t>(first), first, 1000.0), first);
        writeFile(path("second.wav"), fullSine(static_cast<std::size_t>(second), second, 1000.0), second);
        const Sound heard = hear({path("first.wav"), path("second.wav")}).trimmed(1e-3F);
        EXPECT_NEAR(static_cast<double>(heard.frames()), 2.0 * rate, 200.0) << first << " and " << second;
        // A period of the sine has 48 frames, in any of which it is loud somewhere, as long as there is no gap.
        constexpr std::size_t period = 48;
        for (std::size_t frame = period; frame + 2 * period < heard.frames(); frame += period / 2) {
            ASSERT_NEAR(levelOf(heard.part(frame, period).left()), std::numbers::sqrt2 / 2.0, 0.02)
                << frame << " of " << first << " and " << second;
        }
    }
}

TEST_F(Tool_Play, AFileThatCannotBeOpenedIsReportedAndLeavesNoGap) {
    const Sound one = toneAndNoise(20'000, rate);
    writeFile(path("one.wav"), one, rate);
    const Capture capture("test.sink.monitor", 1'000'000);
    EXPECT_EQ(start("play", {"play", "--device", "test.sink", path("one.wav"), path("none.wav"), path("one.wav"),
                             path("neither.wav")})
                  ->wait(),
              1);
    const std::size_t end = capture.frames() + 2 * cycle;
    EXPECT_TRUE(eventually([&] { return capture.frames() >= end; }));
    const Sound heard = capture.sound().trimmed();
    EXPECT_EQ(heard.frames(), 2 * one.frames());
    EXPECT_EQ(firstDifference(heard.part(one.frames(), one.frames()), one), one.frames());
    const std::string told = written("play");
    const std::size_t ofFirst = told.find("braq: " + path("none.wav") + ": ");
    EXPECT_LT(told.find("played " + path("one.wav")), ofFirst);
    EXPECT_LT(ofFirst, told.rfind("playing " + path("one.wav")));
    EXPECT_NE(told.find("braq: " + path("neither.wav") + ": "), std::string::npos);
    EXPECT_EQ(told.find(path("none.wav"), ofFirst + 10 + path("none.wav").size()), std::string::npos) << "once";
}

TEST_F(Tool_Play, AFileWithOtherChannelsIsNotMixedIntoThoseBeforeIt) {
    constexpr std::size_t cut = 20'000;
    const Sound mono = readFile(audioFile("mono-22k-16.wav"));
    const Sound stereo = toneAndNoise(cut, rate);
    writeFile(path("stereo.wav"), stereo, rate);
    const Sound heard = hear({audioFile("mono-22k-16.wav"), path("stereo.wav")}).trimmed();
    EXPECT_EQ(firstDifference(heard.part(heard.frames() - cut, cut), stereo), cut);
    EXPECT_GT(heard.frames(), 2 * mono.frames());
}

TEST_F(Tool_Play, FilesOfAnotherRateHaveTheirLengthLevelAndPitch) {
    constexpr double fileRate = 44100.0;
    writeFile(path("file.wav"), toneAndNoise(88'200, fileRate), fileRate);
    const Sound heard = hear({path("file.wav")}).trimmed(1e-4F);
    EXPECT_NEAR(static_cast<double>(heard.frames()), 2.0 * rate, static_cast<double>(cycle));
    EXPECT_NEAR(levelOf(heard.left()), 0.5 / std::sqrt(2.0), 0.005);
    EXPECT_NEAR(frequencyOf(heard.part(cycle, 80'000).left(), rate), 1000.0, 1.0)
        << "without what a filter adds at the ends";
}

TEST_F(Tool_Play, AMonoFileIsHeardOnBothSpeakersAtItsLengthLevelAndPitch) {
    constexpr double fileRate = 22050.0;
    const Sound file = readFile(audioFile("mono-22k-16.wav"));
    const Sound heard = hear({audioFile("mono-22k-16.wav")}).trimmed(1e-4F);
    EXPECT_NEAR(static_cast<double>(heard.frames()), static_cast<double>(file.frames()) / fileRate * rate,
                static_cast<double>(cycle));
    ASSERT_EQ(heard.channels.size(), 2U);
    EXPECT_EQ(heard.left(), heard.right());
    EXPECT_NEAR(20.0 * std::log10(levelOf(heard.left()) / levelOf(file.left())), 0.0, 0.05);
    // The strings have overtones there; one that is wrong by a thousandth is beside it.
    for (const double hertz : {588.0, 1175.75}) {
        const double expected = amplitudeAt(hertz, file.left(), fileRate);
        ASSERT_GT(expected, 0.007);
        EXPECT_NEAR(amplitudeAt(hertz, heard.left(), rate), expected, 0.02 * expected) << hertz;
    }
}

TEST_F(Tool_Play, SixChannelsAreMixedForTwoSpeakersAtTheirLengthLevelAndPitch) {
    const Sound file = readFile(audioFile("six-channel-48k-24.wav"));
    const Sound heard = hear({audioFile("six-channel-48k-24.wav")}).trimmed();
    ASSERT_EQ(heard.channels.size(), 2U);
    EXPECT_NEAR(static_cast<double>(heard.frames()), static_cast<double>(file.frames()), 2.0);
    // Centre and surround are heard 3 dB softer than the front, and all of them so much softer that the sum never clips.
    const double front = 1.0 / (1.0 + std::numbers::sqrt2);
    const double other = front / std::numbers::sqrt2;
    const std::vector<std::vector<double>> shares{{front, 0, other, 0, other, 0}, {0, front, other, 0, 0, other}};
    for (std::size_t speaker = 0; speaker < shares.size(); ++speaker) {
        for (std::size_t channel = 0; channel < file.channels.size(); ++channel) {
            const double hertz = 100.0 * static_cast<double>(channel + 1);
            const double expected = shares[speaker][channel] * amplitudeAt(hertz, file.channels[channel], rate);
            EXPECT_NEAR(amplitudeAt(hertz, heard.channels[speaker], rate), expected, 0.001)
                << "channel " << channel + 1 << " on speaker " << speaker + 1;
        }
    }
}

TEST_F(Tool_Play, SpeedAndVolumeAreHeard) {
    writeFile(path("file.wav"), toneAndNoise(96'000, rate), rate);
    const Sound heard = hear({path("file.wav"), "--speed", "2", "--volume", "-6.0206"}).trimmed(1e-4F);
    EXPECT_NEAR(static_cast<double>(heard.frames()), rate, static_cast<double>(cycle));
    EXPECT_NEAR(levelOf(heard.left()), 0.25 / std::sqrt(2.0), 0.005);
    EXPECT_NEAR(frequencyOf(heard.part(cycle, 40'000).left(), rate), 2000.0, 1.0);
}

TEST_F(Tool_Play, LossyFilesHaveTheirLengthAndLevel) {
    constexpr double fileRate = 44100.0;
    const Sound reference = readFile(audioFile("reference-44k-stereo-16.wav"));
    const std::vector<std::pair<std::string, std::size_t>> filesAndStarts{
        {"lossy-aac.m4a", 0}, {"lossy-vbr.mp3", 3}, {"lossy-vorbis.ogg", 3}, {"lossy-opus.opus", 3}};
    for (const auto& [name, startSeconds] : filesAndStarts) {
        const Sound file = reference.part(startSeconds * 44'100, reference.frames());
        const Sound heard = hear({audioFile(name), "--start", std::to_string(startSeconds)}).trimmed(1e-3F);
        EXPECT_NEAR(static_cast<double>(heard.frames()), static_cast<double>(file.frames()) / fileRate * rate,
                    static_cast<double>(cycle))
            << name;
        EXPECT_NEAR(20.0 * std::log10(levelOf(heard.left()) / levelOf(file.left())), 0.0, 0.5) << name;
    }
}

TEST_F(Tool_Play, ALoopHasNoGap) {
    for (const std::size_t length : {std::size_t{30'000}, std::size_t{4096}, std::size_t{100}}) {
        const Sound file = toneAndNoise(length, rate);
        writeFile(path("file.wav"), file, rate);
        constexpr std::size_t framesToHear = 70'000;
        const Capture capture("test.sink.monitor", 600'000);
        const auto tool = start("loop", {"play", "--device", "test.sink", "--loop", path("file.wav")});
        Sound heard;
        ASSERT_TRUE(eventually([&] { return (heard = capture.sound().trimmed()).frames() >= framesToHear; })) << length;
        tool->signal(SIGINT);
        EXPECT_EQ(tool->wait(), 0);
        std::size_t wrong = 0;
        for (std::size_t frame = 0; frame < framesToHear; ++frame) {
            wrong += heard.right()[frame] != file.right()[frame % length] ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0U) << length << " frames";
    }
}

TEST_F(Tool_Play, EndsWhenTheDeviceIsGone) {
    writeFile(path("file.wav"), toneAndNoise(1'440'000, rate), rate);
    const auto tool = start("gone", {"play", "--device", "test.sink", path("file.wav"), path("file.wav")});
    ASSERT_TRUE(eventuallyWrites("gone", "playing"));
    server.destroy("test.sink");
    EXPECT_EQ(tool->wait(), 1);
    EXPECT_THAT(written("gone"), HasSubstr("braq: the device is gone"));
}

TEST_F(Tool_Play, GoesWhereTheDefaultGoes) {
    writeFile(path("file.wav"), toneAndNoise(1'440'000, rate), rate);
    server.create({.name = "test.other", .more = "node.description=Other"});
    server.setDefaultSink("test.sink");
    const auto tool = start("moved", {"play", path("file.wav")});
    ASSERT_TRUE(eventuallyWrites("moved", "playing"));
    server.setDefaultSink("test.other");
    EXPECT_TRUE(eventuallyWrites("moved", "now on Other"));
    server.destroy("test.other");
    EXPECT_TRUE(eventuallyWrites("moved", "now on Speakers"));
    tool->signal(SIGINT);
    EXPECT_EQ(tool->wait(), 0);
}

} // namespace
