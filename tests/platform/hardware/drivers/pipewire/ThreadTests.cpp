#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/platform/hardware/drivers/pipewire/ThreadFacts.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

using namespace braq;
using namespace braq::tests;

namespace {

/// Signals that a thread blocks, as the kernel shows them: one bit each, from 1 on.
UInt64 blockedSignals(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigBlk:")) {
            return std::strtoull(line.c_str() + 7, nullptr, 16);
        }
    }
    return 0;
}

std::string nameOf(pid_t thread) {
    std::string name;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/comm"), name);
    return name;
}

pid_t threadNamed(const std::string& name) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const pid_t thread = std::stoi(entry.path().filename());
        if (nameOf(thread) == name) {
            return thread;
        }
    }
    return 0;
}

/// Procedures that note the thread that runs them.
struct ThreadNote final : DeviceCycles {
    void runCycle(const DeviceCycle& /*cycle*/) noexcept override { facts = factsOfThisThread(); }
    ThreadFacts facts; // I/O thread; the others when it has stopped
};

bool blocksWhatCanBeBlocked(pid_t thread) {
    for (int signal = 1; signal < SIGRTMIN - 2; ++signal) {
        const bool canBeBlocked = signal != SIGKILL && signal != SIGSTOP;
        if (canBeBlocked && (blockedSignals(thread) >> (signal - 1) & 1) == 0) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(PipeWire_Threads, BlockEverySignalAndCarryNames) {
    PrivateSoundServer server;
    server.keep({.name = "test.sink"});
    server.start();
    const int niceBefore = getpriority(PRIO_PROCESS, 0);
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    ThreadNote note;
    ASSERT_EQ(sink->startIO(note), kAudioHardwareNoError);
    sink->stopIO();

    const pid_t loop = threadNamed("BRAQ pipewire");
    ASSERT_NE(loop, 0);
    EXPECT_TRUE(blocksWhatCanBeBlocked(loop));
    ASSERT_NE(note.facts.thread, 0);
    EXPECT_NE(note.facts.thread, loop);
    EXPECT_TRUE(blocksWhatCanBeBlocked(note.facts.thread));
    EXPECT_EQ(note.facts.name, "BRAQ pw I/O");
    EXPECT_TRUE(hasStackOfTheLibrary(note.facts)) << note.facts.stackBytes;
    EXPECT_FALSE(blocksWhatCanBeBlocked(gettid())) << "the application's own thread is as it was";
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), niceBefore);
}
