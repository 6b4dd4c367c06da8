#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "BRAQAudio/platform/BRAQApplication.h"
#include "tests/src/NumberedQueues.h"
#include "tests/src/pipewire/Ear.h"
#include "tests/support/NumberedFiles.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <iostream>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

// What names no device goes where the session manager and the user lead it; what names one stays there.

namespace {

using braq::tests::Ear;
using braq::tests::eventually;
using braq::tests::PrivateSoundServer;
using braq::tests::sampleOf;

constexpr UInt32 quantum = 1024;

/// What happened between the last frame heard on one device and the first on the next.
struct Change {
    SInt64 lost;    ///< frames; negative: heard twice
    double silence; ///< milliseconds
};

Change between(const std::vector<Ear::Heard>& before, const std::vector<Ear::Heard>& after) {
    return {static_cast<SInt64>(after.front().number) - static_cast<SInt64>(before.back().number) - 1,
            (after.front().time - before.back().time) * 1e3};
}

// Nothing is heard twice or torn. A busy machine makes a graph miss whole cycles.
void expectWhole(const std::vector<Ear::Heard>& heard) {
    std::size_t missed = 0;
    for (std::size_t i = 1; i < heard.size(); ++i) {
        const UInt64 way = heard[i].number - heard[i - 1].number - 1;
        ASSERT_EQ(way % quantum, 0U) << "frame " << i;
        ASSERT_LT(way, 10 * quantum) << "frame " << i;
        missed += way / quantum;
    }
    EXPECT_LE(missed, 4U);
}

class RoutesOnAServer : public testing::Test {
  protected:
    RoutesOnAServer() {
        server.configure("default.clock.quantum", std::to_string(quantum));
        server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
        server.keep({.name = "one", .more = "priority.session=2000"});
        server.keep({.name = "two", .more = "priority.session=1000"});
    }

    void start() {
        server.start();
        server.setDefaultSink("one");
        ASSERT_TRUE(eventually([] {
            const auto device = BRAQAudioHardware::defaultOutputDevice();
            return BRAQAudioHardware::defaultOutputDeviceID() != 0 && device->deviceUID() == "one";
        }));
    }

    void play(const std::shared_ptr<BRAQAudioDevice>& device) {
        queue = std::make_shared<queue_test::Reader>(8, 16384);
        queue->prime();
        const auto format = BRAQAudioHardware::defaultOutputDevice()->deviceNativePlaybackStreamDescription();
        output = BRAQOutputAudioUnit::initWithStreamDescription(format, device);
        output->setAudioBufferQueue(queue);
        output->setEndOfStreamNotificationBlock([](BQueueableAudioNotification*) {});
        output->start();
        ASSERT_TRUE(output->isRunning());
    }

    /// Moves the stream of this program as a mixer would.
    void move(const std::string& sink) {
        server.run({"pw-metadata", std::to_string(streamNode()), "target.object", serialOf(sink)});
    }

    int streamNode() { return std::stoi(fieldAfter("media.class = \"Stream/Output/Audio\"", "id ")); }
    std::string serialOf(const std::string& name) {
        return fieldAfter("node.name = \"" + name + "\"", "object.serial = \"");
    }

    static bool isOneRunning() {
        const auto device = BRAQAudioDevice::initWithDeviceUID("one");
        constexpr AudioObjectPropertyAddress address{kAudioDevicePropertyDeviceIsRunning,
                                                     kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
        UInt32 isRunning = 0;
        UInt32 size = sizeof(isRunning);
        EXPECT_EQ(AudioObjectGetPropertyData(device->deviceID(), &address, 0, nullptr, &size, &isRunning), 0);
        return isRunning != 0;
    }

    static void report(const char* what, const Change& change) {
        std::cout << what << ": " << change.silence << " ms of silence, " << change.lost << " frames lost\n";
        testing::Test::RecordProperty("silence", std::to_string(change.silence));
        testing::Test::RecordProperty("lost", std::to_string(change.lost));
    }

    PrivateSoundServer server;
    std::shared_ptr<queue_test::Reader> queue;
    std::shared_ptr<BRAQOutputAudioUnit> output;

  private:
    // A field of the object of which `pw-cli ls Node` shows this line.
    std::string fieldAfter(const std::string& line, const std::string& field) {
        const std::string all = server.run({"pw-cli", "ls", "Node"});
        std::size_t begin = 0;
        while (begin != std::string::npos) {
            const std::size_t end = all.find("\tid ", begin + 1);
            const std::string object = all.substr(begin, end == std::string::npos ? end : end - begin);
            const std::size_t at = object.find(field);
            if (object.find(line) != std::string::npos && at != std::string::npos) {
                return std::to_string(std::stoi(object.substr(at + field.size())));
            }
            begin = end;
        }
        throw std::runtime_error("no object with " + line + " in\n" + all);
    }
};

constexpr std::size_t aWhile = 24'000;
// Milliseconds. It is 10 to 50 on a machine that is idle, and takes turns of the session manager on one that is not.
constexpr double longestSilence = 500.0;

TEST_F(RoutesOnAServer, WhatNamesNoDeviceGoesWhereTheDefaultGoes) {
    start();
    const Ear one("one.monitor");
    const Ear two("two.monitor");
    play(nullptr);
    ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(aWhile); }));
    server.setDefaultSink("two");
    ASSERT_TRUE(eventually([&] { return two.hearsMoreThan(aWhile); }));
    EXPECT_TRUE(output->isRunning());
    output->stop();
    expectWhole(one.heard());
    expectWhole(two.heard());
    const Change change = between(one.heard(), two.heard());
    report("default changed", change);
    EXPECT_LT(change.silence, longestSilence);
    EXPECT_GE(change.lost, 0);
    EXPECT_LE(change.lost, quantum) << "more than the cycle in which the server cut the connection";
}

TEST_F(RoutesOnAServer, WhatNamesNoDeviceGoesWhereAMixerMovesIt) {
    start();
    const Ear one("one.monitor");
    const Ear two("two.monitor");
    play(nullptr);
    ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(aWhile); }));
    move("two");
    ASSERT_TRUE(eventually([&] { return two.hearsMoreThan(aWhile); }));
    output->stop();
    expectWhole(one.heard());
    expectWhole(two.heard());
    const Change change = between(one.heard(), two.heard());
    report("moved", change);
    EXPECT_LT(change.silence, longestSilence);
    EXPECT_GE(change.lost, 0);
    EXPECT_LE(change.lost, quantum);
}

TEST_F(RoutesOnAServer, WhatNamesNoDeviceOutlivesItsDevice) {
    start();
    auto one = std::make_unique<Ear>("one.monitor");
    const Ear two("two.monitor");
    play(nullptr);
    ASSERT_TRUE(eventually([&] { return one->hearsMoreThan(aWhile); }));
    server.destroy("one");
    ASSERT_TRUE(eventually([&] { return two.hearsMoreThan(aWhile); }));
    EXPECT_TRUE(output->isRunning());
    output->stop();
    expectWhole(two.heard());
    const Change change = between(one->heard(), two.heard());
    report("sink removed", change);
    EXPECT_LT(change.silence, longestSilence);
    EXPECT_GE(change.lost, 0);
    EXPECT_LE(change.lost, 2 * quantum) << "more than what the removed sink had and had not played";
}

TEST_F(RoutesOnAServer, WhatNamesNoDeviceOutlivesTheServer) {
    start();
    {
        const Ear one("one.monitor");
        play(nullptr);
        ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(aWhile); }));
    }
    server.kill();
    ASSERT_TRUE(eventually([] { return BRAQAudioDevice::initWithDeviceUID("one") == nullptr; }));
    EXPECT_TRUE(output->isRunning());
    start();
    const Ear one("one.monitor");
    ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(aWhile); }));
    output->stop();
    expectWhole(one.heard());
}

TEST_F(RoutesOnAServer, WhatStartsWithoutAServerIsRefusedAndCanStartLater) {
    start();
    play(nullptr);
    EXPECT_TRUE(isOneRunning());
    output->stop();
    EXPECT_FALSE(isOneRunning());
    server.kill();
    ASSERT_TRUE(eventually([] { return BRAQAudioDevice::initWithDeviceUID("one") == nullptr; }));
    output->start();
    EXPECT_FALSE(output->isRunning()) << "there is nothing to start on";
    start();
    output->start();
    EXPECT_TRUE(output->isRunning());
    output->stop();
}

TEST_F(RoutesOnAServer, WhatNamesADeviceStaysThere) {
    start();
    const Ear one("one.monitor");
    const Ear two("two.monitor");
    play(BRAQAudioDevice::initWithDeviceUID("one"));
    ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(aWhile); }));
    move("two");
    server.setDefaultSink("two");
    ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(4 * aWhile); }));
    EXPECT_FALSE(two.hearsMoreThan(0));
    EXPECT_TRUE(output->isRunning());
    server.destroy("one");
    EXPECT_TRUE(eventually([&] { return !output->isRunning(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // for what must not happen
    EXPECT_FALSE(two.hearsMoreThan(0));
    output->stop();
}

/// Keeps what a program is told of the device.
struct Witness {
    std::vector<std::string> told; // main thread, which is the test's

    BRAQDeviceChangeBlock block() {
        return [this](BRAQDeviceChange change, const std::shared_ptr<BRAQAudioDevice>& device) {
            const char* const words = change == BRAQDeviceChange::moved  ? "moved to "
                                      : change == BRAQDeviceChange::gone ? "gone"
                                                                         : "back on ";
            told.push_back(words + (device != nullptr ? *device->deviceUID() : std::string()));
        };
    }
    bool isTold(const std::string& what, const std::string& orWhat = {}) const {
        return eventually([&] {
            BRAQMainQueue::mainQueue().drain();
            return !told.empty() && (told.back() == what || told.back() == orWhat);
        });
    }
};

TEST_F(RoutesOnAServer, ProgramsAreToldOfEachDevice) {
    start();
    play(nullptr);
    Witness witness;
    output->setDeviceChangeBlock(witness.block());
    EXPECT_EQ(output->presentDevice()->deviceUID(), "one");
    server.setDefaultSink("two");
    EXPECT_TRUE(witness.isTold("moved to two"));
    EXPECT_EQ(output->presentDevice()->deviceUID(), "two");
    server.destroy("two");
    EXPECT_TRUE(witness.isTold("moved to one", "back on one"));
    witness.told.clear();
    server.destroy("one");
    EXPECT_TRUE(witness.isTold("gone"));
    EXPECT_EQ(output->presentDevice(), nullptr);
    EXPECT_TRUE(output->isRunning());
    server.create({.name = "three"});
    EXPECT_TRUE(witness.isTold("back on three"));
    EXPECT_EQ(witness.told, (std::vector<std::string>{"gone", "back on three"}));
    {
        const Ear three("three.monitor");
        EXPECT_TRUE(eventually([&] { return three.hearsMoreThan(aWhile); }));
    }
    witness.told.clear();
    server.kill();
    EXPECT_TRUE(witness.isTold("gone"));
    start();
    EXPECT_TRUE(witness.isTold("back on one", "moved to one")) << "perhaps by way of the other one";
    output->stop();
}

TEST_F(RoutesOnAServer, ProgramsAreToldThatANamedDeviceIsGone) {
    start();
    play(BRAQAudioDevice::initWithDeviceUID("one"));
    Witness witness;
    output->setDeviceChangeBlock(witness.block());
    server.setDefaultSink("two");
    server.destroy("one");
    EXPECT_TRUE(witness.isTold("gone"));
    EXPECT_FALSE(output->isRunning());
    EXPECT_EQ(witness.told.size(), 1U);
    output->stop();
}

struct PlayerDelegate {
    std::vector<std::string> told;

    void audioFilePlayerDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/,
                                        const std::shared_ptr<BRAQAudioDevice>& device) {
        told.push_back("moved to " + *device->deviceUID());
    }
    void audioFilePlayerDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {
        told.emplace_back("gone");
    }
    void audioFilePlayerDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/,
                                     const std::shared_ptr<BRAQAudioDevice>& device) {
        told.push_back("back on " + *device->deviceUID());
    }
};

TEST_F(RoutesOnAServer, APlayerGoesOnAtTheRateAndWithTheChannelsOfTheNextDevice) {
    // A device with a clock of its own, at another rate.
    server.keep({.name = "wide",
                 .positions = "FL,FR,FC,LFE,SL,SR",
                 .more = "priority.session=500 node.group=wide node.force-rate=44100 audio.rate=44100"});
    start();
    constexpr UInt32 fileRate = 44100;
    constexpr UInt32 frontBackAndMiddle = 0x60F;
    const auto file = server.folder() / "file.wav";
    braq::tests::writeNumberedFile(file, 10 * fileRate, 6, fileRate, frontBackAndMiddle);
    const Ear one("one.monitor"); // at 48,000 frames a second
    const Ear wide("wide.monitor", 5, fileRate);
    PlayerDelegate delegate;
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(file, nullptr);
    ASSERT_NE(player, nullptr);
    player->setDelegate(&delegate);
    player->startFilePlaying();
    ASSERT_TRUE(eventually([&] { return one.hearsMoreThan(aWhile); }));
    move("wide");
    ASSERT_TRUE(eventually([&] { return wide.hearsMoreThan(aWhile); }));
    EXPECT_TRUE(eventually([&] {
        BRAQMainQueue::mainQueue().drain();
        return !delegate.told.empty();
    }));
    EXPECT_EQ(delegate.told, std::vector<std::string>{"moved to wide"});
    EXPECT_EQ(player->outputAudioUnit()->presentDevice()->playbackNominalSampleRate(), fileRate);
    player->stopFilePlaying();
    player->invalidate();

    const auto after = wide.heard(); // the sixth channel of the file, bit for bit
    expectWhole(after);
    // The mix of all channels on a stereo device has the same numbers, to within a frame.
    const Change change = between(one.heard(), after);
    report("moved to another rate and other channels", change);
    EXPECT_LT(change.silence, longestSilence);
    EXPECT_GE(change.lost, -64) << "to within what the converter's first frames blur";
    EXPECT_LE(change.lost, 2 * SInt64{quantum});
}

struct RecorderDelegate final : BRAQAudioUnitDelegate {
    std::vector<std::string> told;

    void audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                  const std::shared_ptr<BRAQAudioDevice>& device) override {
        told.push_back("moved to " + *device->deviceUID());
    }
};

TEST_F(RoutesOnAServer, WhatRecordsFromNoDeviceGoesWhereTheDefaultGoes) {
    for (const char* const source : {"left", "right"}) {
        server.keep({.name = source, .mediaClass = "Audio/Source/Virtual"});
    }
    start();
    server.setDefaultSource("left");
    ASSERT_TRUE(eventually([] { return BRAQAudioHardware::defaultInputDevice()->deviceUID() == "left"; }));
    play(BRAQAudioDevice::initWithDeviceUID("one"));
    const auto delegate = std::make_shared<RecorderDelegate>();
    const Ear ear("");
    ear.unit()->setDelegate(delegate);
    for (const char* const source : {"left", "right"}) {
        server.run({"pw-link", "one:monitor_FL", std::string(source) + ":input_FL"});
    }
    ASSERT_TRUE(eventually([&] { return ear.hearsMoreThan(aWhile); }));
    server.setDefaultSource("right");
    EXPECT_TRUE(eventually([&] {
        BRAQMainQueue::mainQueue().drain();
        return !delegate->told.empty();
    }));
    EXPECT_EQ(delegate->told, std::vector<std::string>{"moved to right"});
    const std::size_t then = ear.heard().size();
    ASSERT_TRUE(eventually([&] { return ear.hearsMoreThan(then + aWhile); }));
    EXPECT_TRUE(ear.unit()->isRunning());
    output->stop();
    // What is captured while the stream is on its way is nobody's.
    const auto heard = ear.heard();
    UInt64 lost = 0;
    for (std::size_t i = 1; i < heard.size(); ++i) {
        ASSERT_GT(heard[i].number, heard[i - 1].number) << "frame " << i;
        lost = std::max(lost, heard[i].number - heard[i - 1].number - 1);
    }
    report("default source changed", {static_cast<SInt64>(lost), static_cast<double>(lost) / 48.0});
    EXPECT_LT(lost, 4800U) << "a tenth of a second";
}

TEST_F(RoutesOnAServer, TheHardwareTellsOfChangedDefaultsOnRequest) {
    struct Delegate {
        int outputs = 0;
        void audioHardwareDefaultOutputDeviceDidChange() { ++outputs; }
    };
    start();
    const auto delegate = std::make_shared<Delegate>();
    const auto hardware = BRAQAudioHardware::init();
    hardware->addDelegate(delegate);
    server.setDefaultSink("two");
    ASSERT_TRUE(eventually([] { return BRAQAudioHardware::defaultOutputDevice()->deviceUID() == "two"; }));
    BRAQMainQueue::mainQueue().drain();
    EXPECT_EQ(delegate->outputs, 0) << "nobody has asked";
    hardware->watchDefaultDevices();
    hardware->watchDefaultDevices();
    server.setDefaultSink("one");
    EXPECT_TRUE(eventually([&] {
        BRAQMainQueue::mainQueue().drain();
        return delegate->outputs != 0;
    }));
    EXPECT_EQ(delegate->outputs, 1);
    hardware->removeDelegate(delegate);
}

TEST_F(RoutesOnAServer, TheStreamSaysWhoPlaysWhat) {
    BRAQApplication::setName("Player of Tests");
    BRAQApplication::setIconName("org.example.Player");
    BRAQApplication::setRole("Music");
    start();
    play(nullptr);
    const int node = streamNode();
    const auto says = [&](const std::string& key, const std::string& value) {
        const std::string all = server.run({"pw-cli", "info", std::to_string(node)});
        return all.find(key + " = \"" + value + "\"") != std::string::npos;
    };
    EXPECT_TRUE(says("application.name", "Player of Tests"));
    EXPECT_TRUE(says("application.icon-name", "org.example.Player"));
    EXPECT_TRUE(says("media.role", "Music"));
    EXPECT_TRUE(says("media.name", "Playback"));
    BRAQApplication::setTitle("Artist - Title");
    EXPECT_TRUE(eventually([&] { return says("media.name", "Artist - Title"); })) << "while it plays";
    EXPECT_TRUE(says("media.title", "Artist - Title"));
    EXPECT_EQ(streamNode(), node) << "it is still the same stream";
    output->stop();
    BRAQApplication::setTitle({});
    BRAQApplication::setRole({});
    BRAQApplication::setIconName({});
    BRAQApplication::setName({});
}

} // namespace
