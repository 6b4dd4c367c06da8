#include "platform/hardware/DeviceIO.h"
#include "tests/platform/hardware/HardwareHelpers.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>

// The devices of a sound server as the rest of the library sees them, with the drivers that ship.

using namespace braq;
using namespace braq::tests;

namespace {

/// A procedure that plays or records, and counts.
class Procedure {
  public:
    Procedure(AudioDeviceID device, IODirections directions) : mDevice(device) {
        EXPECT_EQ(addIOProcedure(device, directions, run, this, &mID), kAudioHardwareNoError);
    }
    ~Procedure() { removeIOProcedure(mDevice, mID); }
    Procedure(const Procedure&) = delete;
    Procedure& operator=(const Procedure&) = delete;

    OSStatus start() const { return startIOProcedure(mDevice, mID); }
    OSStatus stop() const { return stopIOProcedure(mDevice, mID); }
    UInt64 frames() const { return mFrames; }
    Float32 loudest() const { return mLoudest; }

  private:
    static void run(void* context, const IOSlice& slice) {
        auto& self = *static_cast<Procedure*>(context);
        for (UInt32 index = 0; slice.output != nullptr && index < slice.output->mNumberBuffers; ++index) {
            std::fill_n(static_cast<Float32*>(slice.output->mBuffers[index].mData), slice.frames, 0.25F);
        }
        for (UInt32 index = 0; slice.input != nullptr && index < slice.input->mNumberBuffers; ++index) {
            const auto* const samples = static_cast<const Float32*>(slice.input->mBuffers[index].mData);
            self.mLoudest = std::max<Float32>(self.mLoudest, *std::max_element(samples, samples + slice.frames));
        }
        self.mFrames += slice.frames;
    }

    const AudioDeviceID mDevice;
    IOProcedureID mID = 0;
    std::atomic<UInt64> mFrames{0};
    std::atomic<Float32> mLoudest{0.0F};
};

class PipeWire_Service : public testing::Test {
  protected:
    PipeWire_Service() {
        server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
        server.keep({.name = "test.sink", .more = "node.description=\"A sink\""});
        server.start();
    }

    static AudioDeviceID waitForDevice(const std::string& uid) {
        eventually([&] { return deviceForUID(uid) != kAudioObjectUnknown; });
        return deviceForUID(uid);
    }
    static bool isRunning(AudioDeviceID device) {
        return get<UInt32>(device, at(kAudioDevicePropertyDeviceIsRunning)) == 1U;
    }

    PrivateSoundServer server;
};

} // namespace

TEST_F(PipeWire_Service, OffersTheServersDevicesAsObjects) {
    const AudioDeviceID sink = waitForDevice("test.sink");
    const AudioDeviceID monitor = waitForDevice("test.sink.monitor");
    ASSERT_NE(sink, kAudioObjectUnknown);
    ASSERT_NE(monitor, kAudioObjectUnknown);
    EXPECT_EQ(getText(sink, kAudioObjectPropertyName), "A sink");
    EXPECT_EQ(get<UInt32>(sink, at(kAudioDevicePropertyTransportType)), kAudioDeviceTransportTypeVirtual);
    EXPECT_EQ(getList<AudioObjectID>(sink, at(kAudioDevicePropertyStreams, kAudioDevicePropertyScopeOutput))->size(),
              1U);
    EXPECT_EQ(getList<AudioObjectID>(sink, at(kAudioDevicePropertyStreams, kAudioDevicePropertyScopeInput))->size(),
              0U);
    EXPECT_EQ(getList<AudioObjectID>(monitor, at(kAudioDevicePropertyStreams, kAudioDevicePropertyScopeInput))->size(),
              1U);
    EXPECT_TRUE(eventually([&] {
        return get<AudioDeviceID>(kAudioObjectSystemObject, at(kAudioHardwarePropertyDefaultOutputDevice)) == sink;
    }));
    server.setDefaultSource("test.sink"); // the newest session managers do not take a monitor by themselves
    EXPECT_TRUE(eventually([&] {
        return get<AudioDeviceID>(kAudioObjectSystemObject, at(kAudioHardwarePropertyDefaultInputDevice)) == monitor;
    }));
    EXPECT_TRUE(eventually([&] {
        return getList<AudioDeviceID>(kAudioObjectSystemObject, at(kAudioHardwarePropertyDevices))->size() == 2;
    })) << "no loopback device where there is a sound server";
}

TEST_F(PipeWire_Service, PlaysToAllAndRecordsFromAMonitor) {
    const AudioDeviceID sink = waitForDevice("test.sink");
    const AudioDeviceID monitor = waitForDevice("test.sink.monitor");
    Procedure one(sink, IODirections::playback);
    Procedure two(sink, IODirections::playback);
    Procedure recorder(monitor, IODirections::record);
    ASSERT_EQ(recorder.start(), kAudioHardwareNoError);
    ASSERT_EQ(one.start(), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return recorder.loudest() == 0.25F; }));
    EXPECT_TRUE(isRunning(sink));
    ASSERT_EQ(two.start(), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return recorder.loudest() == 0.5F; })) << "the sum of what both play";
    const std::string nodes = server.run({"pw-cli", "ls", "Node"});
    const auto stream = nodes.find("Stream/Output/Audio");
    EXPECT_NE(stream, std::string::npos) << nodes;
    EXPECT_EQ(nodes.find("Stream/Output/Audio", stream + 1), std::string::npos) << "one stream for both\n" << nodes;
    EXPECT_EQ(one.stop(), kAudioHardwareNoError);
    EXPECT_EQ(two.stop(), kAudioHardwareNoError);
    EXPECT_FALSE(isRunning(sink));
}

TEST_F(PipeWire_Service, TellsTheLevelThatTheUserGivesThisProcess) {
    const AudioDeviceID sink = waitForDevice("test.sink");
    const auto level = [&] {
        return get<Float32>(sink, at(kBRAQAudioDevicePropertyMixerLevel, kAudioDevicePropertyScopeOutput));
    };
    Procedure player(sink, IODirections::playback);
    ASSERT_EQ(player.start(), kAudioHardwareNoError);
    EXPECT_EQ(level(), 1.0F);
    EXPECT_EQ(get<Float32>(sink, at(kBRAQAudioDevicePropertyMixerLevel, kAudioDevicePropertyScopeInput)), std::nullopt)
        << "it has no such direction";
    server.run({"wpctl", "set-volume", "-p", std::to_string(getpid()), "0.5"});
    EXPECT_TRUE(eventually([&] { return level() == 0.125F; })) << "mixers count in cubes";
    EXPECT_EQ(player.stop(), kAudioHardwareNoError);
}

TEST_F(PipeWire_Service, ChangesTheRateAsynchronously) {
    const AudioDeviceID sink = waitForDevice("test.sink");
    EXPECT_EQ(set(sink, at(kAudioDevicePropertyNominalSampleRate), 44100.0), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return get<Float64>(sink, at(kAudioDevicePropertyNominalSampleRate)) == 44100.0; }));
    EXPECT_EQ(set(sink, at(kAudioDevicePropertyNominalSampleRate), 96000.0), kAudioDeviceUnsupportedFormatError);
}

TEST_F(PipeWire_Service, SurvivesTheServerUnderRunningProcedures) {
    const AudioDeviceID sink = waitForDevice("test.sink");
    const AudioDeviceID monitor = waitForDevice("test.sink.monitor");
    Procedure player(sink, IODirections::playback);
    Procedure recorder(monitor, IODirections::record);
    ASSERT_EQ(player.start(), kAudioHardwareNoError);
    ASSERT_EQ(recorder.start(), kAudioHardwareNoError);
    server.kill();
    EXPECT_TRUE(eventually([&] { return deviceForUID("test.sink") == kAudioObjectUnknown; }));
    EXPECT_TRUE(eventually([&] { return deviceForUID("test.sink.monitor") == kAudioObjectUnknown; }));
    EXPECT_NE(get<UInt32>(sink, at(kAudioDevicePropertyDeviceIsAlive)), 1U);
    EXPECT_TRUE(eventually([&] {
        return get<AudioDeviceID>(kAudioObjectSystemObject, at(kAudioHardwarePropertyDefaultOutputDevice)) !=
               kAudioObjectUnknown;
    })) << "a system without a server has a loopback device";
    player.stop();
    recorder.stop();

    server.start();
    const AudioDeviceID back = waitForDevice("test.sink");
    EXPECT_NE(back, kAudioObjectUnknown);
    EXPECT_NE(back, sink) << "ids are not used again";
    Procedure again(back, IODirections::playback);
    ASSERT_EQ(again.start(), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return again.frames() > 0; }));
    again.stop();
}
