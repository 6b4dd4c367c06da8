#include "platform/hardware/DeviceIO.h"

#include "tests/platform/hardware/HardwareHelpers.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

namespace {

using namespace braq::tests;
using braq::IODirections;
using braq::IOSlice;

/// A procedure that fails if it is called after it was stopped, and plays one.
struct Player {
    std::atomic<bool> mayRun{false};
    std::atomic<UInt64> calls{0};
    std::atomic<UInt64> wrongCalls{0};

    static void call(void* self, const IOSlice& slice) {
        auto* const player = static_cast<Player*>(self);
        player->calls.fetch_add(1, std::memory_order_relaxed);
        if (!player->mayRun.load(std::memory_order_acquire)) {
            player->wrongCalls.fetch_add(1, std::memory_order_relaxed);
        }
        std::fill_n(static_cast<Float32*>(slice.output->mBuffers[0].mData), slice.frames, 1.0F);
    }
};

// What happens at the same time as something else has had the processor meanwhile.
constexpr UInt64 fewestCycles = 100;

/// At least `times` times, and until there were some cycles.
void addAndRemove(AudioDeviceID device, int times, const std::atomic<UInt64>& cycles, UInt64& wrongCalls) {
    for (int i = 0; i < times || cycles < fewestCycles; ++i) {
        Player player;
        braq::IOProcedureID id = 0;
        ASSERT_EQ(braq::addIOProcedure(device, IODirections::playback, Player::call, &player, &id), 0);
        player.mayRun.store(true, std::memory_order_release);
        ASSERT_EQ(braq::startIOProcedure(device, id), 0);
        ASSERT_EQ(braq::removeIOProcedure(device, id), 0);
        player.mayRun.store(false, std::memory_order_release);
        wrongCalls += player.wrongCalls.load();
    }
}

TEST(DeviceIOHammer, AddsAndRemovesTenThousandTimesFromTwoThreadsWhileCyclesRun) {
    const auto device = steppedDevice("device", 1, 0);
    Player always;
    always.mayRun = true;
    braq::IOProcedureID id = 0;
    ASSERT_EQ(braq::addIOProcedure(device->deviceID(), IODirections::playback, Player::call, &always, &id), 0);
    ASSERT_EQ(braq::startIOProcedure(device->deviceID(), id), 0);

    std::atomic<bool> isDone{false};
    std::atomic<UInt64> cycles{0};
    UInt64 wrongSums = 0;
    std::thread ioThread([&] {
        Channels output(1, 64);
        while (!isDone) {
            ASSERT_TRUE(device->step(64, nullptr, output.pointers()));
            ++cycles;
            // From one to three players at any time; a torn list would give something else.
            const Float32 sum = output[0][0];
            if (sum < 1.0F || sum > 3.0F || output[0][63] != sum) {
                ++wrongSums;
            }
        }
    });
    std::array<UInt64, 2> wrongCalls{};
    std::thread second([&] { addAndRemove(device->deviceID(), 5000, cycles, wrongCalls[1]); });
    addAndRemove(device->deviceID(), 5000, cycles, wrongCalls[0]);
    second.join();
    isDone = true;
    ioThread.join();
    EXPECT_EQ(wrongCalls[0] + wrongCalls[1], 0U) << "called after removal had returned";
    EXPECT_EQ(wrongSums, 0U);
    EXPECT_EQ(always.calls.load(), cycles) << "no cycle without it";
    EXPECT_EQ(braq::removeIOProcedure(device->deviceID(), id), 0);
}

// What never waits is never late because of others.
TEST(DeviceIOHammer, CyclesKeepTheRealtimeRulesWhileProceduresComeAndGo) {
    const auto device = steppedDevice("device", 1, 0);
    Player always;
    always.mayRun = true;
    braq::IOProcedureID id = 0;
    ASSERT_EQ(braq::addIOProcedure(device->deviceID(), IODirections::playback, Player::call, &always, &id), 0);
    ASSERT_EQ(braq::startIOProcedure(device->deviceID(), id), 0);

    std::atomic<bool> isDone{false};
    std::atomic<UInt64> cycles{0};
    std::array<UInt64, 2> wrongCalls{};
    std::thread control([&] {
        std::thread second([&] { addAndRemove(device->deviceID(), 1000, cycles, wrongCalls[1]); });
        addAndRemove(device->deviceID(), 1000, cycles, wrongCalls[0]);
        second.join();
        isDone = true;
    });
    Channels output(1, 64);
    runRealtime([&] {
        while (!isDone) {
            cycles += device->step(64, nullptr, output.pointers()) ? 1 : 0;
        }
    });
    control.join();
    EXPECT_EQ(wrongCalls[0] + wrongCalls[1], 0U);
    EXPECT_EQ(always.calls.load(), cycles);
    EXPECT_EQ(braq::removeIOProcedure(device->deviceID(), id), 0);
}

TEST(DeviceIOHammer, StartsStopsAndPullsOutDevicesFromSeveralThreads) {
    for (int round = 0; round < 50; ++round) {
        auto options = steppedOptions("device", 1, 1);
        options.clock = BRAQSoftwareClock::monotonic;
        options.bufferFrames = 16;
        const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
        const AudioDeviceID id = device->deviceID();
        const auto startAndStop = [id] {
            Player player;
            player.mayRun = true;
            braq::IOProcedureID procedure = 0;
            if (braq::addIOProcedure(id, IODirections::playback, Player::call, &player, &procedure) != 0) {
                return; // it was gone before
            }
            for (int i = 0; i < 20; ++i) {
                braq::startIOProcedure(id, procedure);
                braq::stopIOProcedure(id, procedure);
            }
            EXPECT_EQ(braq::removeIOProcedure(id, procedure), 0);
        };
        std::thread first(startAndStop);
        std::thread second(startAndStop);
        device->remove();
        first.join();
        second.join();
        waitForNotifications();
        EXPECT_EQ(braq::startIOProcedure(id, 1), kAudioHardwareBadObjectError);
    }
}

} // namespace
