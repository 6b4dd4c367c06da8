#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "tests/src/NumberedQueues.h"
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

using braq::tests::eventually;
using braq::tests::PrivateSoundServer;
using braq::tests::sampleOf;

constexpr UInt32 quantum = 1024;

/// Keeps the first channel of what a device records, and when.
class Ear {
  public:
    static constexpr std::size_t mostFrames = 1'500'000;

    explicit Ear(const std::string& uid) : mFrames(mostFrames), mTimes(mostFrames) {
        std::shared_ptr<BRAQAudioDevice> device;
        EXPECT_TRUE(eventually([&] { return (device = BRAQAudioDevice::initWithDeviceUID(uid)) != nullptr; })) << uid;
        mUnit = BRAQInputAudioUnit::initWithDevice(device, std::nullopt);
        mUnit->setInputProcessingBlock(
            [this](auto*, const AudioTimeStamp* time, UInt32, UInt32 frames, AudioBufferList* list) {
                const auto first = mCount.load(std::memory_order_relaxed);
                const auto kept = std::min<std::size_t>(frames, mostFrames - first);
                const auto* samples = static_cast<const Float32*>(list->mBuffers[0].mData);
                for (std::size_t frame = 0; frame < kept; ++frame) {
                    mFrames[first + frame] = samples[frame];
                    mTimes[first + frame] =
                        static_cast<double>(time->mHostTime) * 1e-9 + static_cast<double>(frame) / mRate;
                }
                mCount.store(first + kept, std::memory_order_release);
            });
        mRate = mUnit->streamDescription()->sampleRate();
        mUnit->start();
        EXPECT_TRUE(eventually([&] { return mCount > 0; })) << uid;
    }
    ~Ear() {
        mUnit->stop();
        mUnit->setInputProcessingBlock(nullptr);
    }
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;

    struct Heard {
        UInt64 number; ///< of the frame that was played
        double time;   ///< seconds
    };
    /// The numbered frames that were heard, in order.
    std::vector<Heard> heard() const {
        std::vector<Heard> all;
        for (std::size_t frame = 0; frame < mCount; ++frame) {
            if (mFrames[frame] != 0.0F) {
                all.push_back({static_cast<UInt64>(mFrames[frame] / sampleOf(1, 0)), mTimes[frame]});
            }
        }
        return all;
    }
    bool hearsMoreThan(std::size_t frames) const { return heard().size() > frames; }

  private:
    std::vector<Float32> mFrames;
    std::vector<double> mTimes;
    std::atomic<std::size_t> mCount{0};
    double mRate = 0.0;
    std::shared_ptr<BRAQInputAudioUnit> mUnit;
};

/// What happened between the last frame heard on one device and the first on the next.
struct Change {
    SInt64 lost;    ///< frames; negative: heard twice
    double silence; ///< milliseconds
};

Change between(const std::vector<Ear::Heard>& before, const std::vector<Ear::Heard>& after) {
    return {static_cast<SInt64>(after.front().number) - static_cast<SInt64>(before.back().number) - 1,
            (after.front().time - before.back().time) * 1e3};
}

void expectWhole(const std::vector<Ear::Heard>& heard) {
    for (std::size_t i = 1; i < heard.size(); ++i) {
        ASSERT_EQ(heard[i].number, heard[i - 1].number + 1) << "frame " << i;
    }
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
    EXPECT_LT(change.silence, 100.0);
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
    EXPECT_LT(change.silence, 100.0);
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
    EXPECT_LT(change.silence, 100.0);
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

} // namespace
