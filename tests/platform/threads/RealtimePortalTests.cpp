#include "BRAQAudio/platform/threads.h"
#include "tests/platform/threads/FakeRealtimeKit.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <unistd.h>

#include <chrono>

using namespace threads_test;
using Behaviour = FakeRealtimeKit::Behaviour;
using Role = FakeRealtimeKit::Role;

namespace {

// A sandbox: no system bus, and a session bus with the portal on it.
struct InSandbox {
    explicit InSandbox(Behaviour behaviour) : portal(session.address(), behaviour, Role::portal) {
        useSystemBus(kNoBus);
        useSessionBus(session.address());
        dropPermission();
    }

    PrivateBus session;
    FakeRealtimeKit portal;
    LogRecorder log;
};

void thePortalIsAskedForAWorker() {
    InSandbox sandbox(Behaviour::grants);
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    REQUIRE(contains(sandbox.log.waitFor("Worker threads"), "(granted by the desktop portal)"));
    const auto calls = sandbox.portal.calls();
    REQUIRE(calls.size() == 1);
    REQUIRE(calls[0].method == "MakeThreadHighPriorityWithPID");
    REQUIRE(calls[0].process == static_cast<std::uint64_t>(getpid()));
    REQUIRE(calls[0].thread == static_cast<std::uint64_t>(thread.port()));
    REQUIRE(calls[0].priority == FakeRealtimeKit::kMinNiceLevel);
}

void thePortalIsAskedForAnIOThread() {
    InSandbox sandbox(Behaviour::grants);
    const ParkedThread thread;
    REQUIRE(BRAQThreadMakeIO(thread.port()) == KERN_SUCCESS);
    REQUIRE(contains(sandbox.log.waitFor("I/O threads"), "(granted by the desktop portal)"));
    const auto calls = sandbox.portal.calls();
    REQUIRE(calls.size() == 1);
    REQUIRE(calls[0].method == "MakeThreadRealtimeWithPID");
    REQUIRE(calls[0].process == static_cast<std::uint64_t>(getpid()));
    REQUIRE(calls[0].thread == static_cast<std::uint64_t>(thread.port()));
    REQUIRE(calls[0].priority == FakeRealtimeKit::kMaxRealtimePriority);
    REQUIRE(calls[0].runLimit.rlim_max <= FakeRealtimeKit::kRTTimeUSecMax);
}

// As where the way to the system bus is let through, but not the way to the service.
void thePortalIsAskedWhereTheSystemBusHasNoService() {
    const PrivateBus system;
    InSandbox sandbox(Behaviour::grants);
    useSystemBus(system.address());
    useSessionBus(sandbox.session.address());
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    REQUIRE(contains(sandbox.log.waitFor("Worker threads"), "(granted by the desktop portal)"));
}

void aRefusalOfTheServiceIsNotGoneRound() {
    const PrivateBus system;
    FakeRealtimeKit kit(system.address(), Behaviour::refuses);
    InSandbox sandbox(Behaviour::grants);
    useSystemBus(system.address());
    useSessionBus(sandbox.session.address());
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    REQUIRE(contains(sandbox.log.waitFor("Worker threads"), "none from rtkit"));
    REQUIRE(kit.calls().size() == 1);
    REQUIRE(sandbox.portal.calls().empty());
}

void aRefusalOfThePortalIsSaid() {
    InSandbox sandbox(Behaviour::refuses);
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    const std::string line = sandbox.log.waitFor("Worker threads");
    REQUIRE(contains(line, "none from the desktop portal"));
    REQUIRE(contains(line, "not today"));
    REQUIRE(niceOf(thread.port()) == niceOf(gettid()));
}

void aSessionBusWithoutThePortalIsSaid() {
    const PrivateBus session;
    useSystemBus(kNoBus);
    useSessionBus(session.address());
    dropPermission();
    LogRecorder log;
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    const std::string line = log.waitFor("Worker threads");
    REQUIRE(contains(line, "none from rtkit: "));
    REQUIRE(contains(line, "nor from the desktop portal: org.freedesktop.DBus.Error.ServiceUnknown"));
}

void noSessionBusIsStarted() {
    useSystemBus(kNoBus);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("XDG_RUNTIME_DIR");
    dropPermission();
    LogRecorder log;
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    REQUIRE(contains(log.waitFor("Worker threads"), "nor from the desktop portal: there is no session bus"));
}

void aSilentPortalBlocksNobody() {
    InSandbox sandbox(Behaviour::answersNothing);
    const ParkedThread thread;
    const auto start = std::chrono::steady_clock::now();
    makeWorker(thread.port(), 63);
    sandbox.portal.waitUntilAsked();
    REQUIRE(BRAQThreadMakeIO(thread.port()) == KERN_SUCCESS);
    REQUIRE(std::chrono::steady_clock::now() - start < std::chrono::seconds(3));
    const std::string line = sandbox.log.waitFor("Worker threads");
    REQUIRE(contains(line, "nor from the desktop portal: org.freedesktop.DBus.Error.NoReply"));
}

} // namespace

TEST(Threads_RealtimePortal, IsAskedForWorkersInASandbox) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(thePortalIsAskedForAWorker);
}

TEST(Threads_RealtimePortal, IsAskedForIOThreadsInASandbox) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(thePortalIsAskedForAnIOThread);
}

TEST(Threads_RealtimePortal, IsAskedWhereTheSystemBusHasNoService) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(thePortalIsAskedWhereTheSystemBusHasNoService);
}

TEST(Threads_RealtimePortal, IsNotAskedForWhatTheServiceRefuses) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aRefusalOfTheServiceIsNotGoneRound);
}

TEST(Threads_RealtimePortal, MayRefuse) { EXPECT_PASSES_IN_A_NEW_PROCESS(aRefusalOfThePortalIsSaid); }

TEST(Threads_RealtimePortal, MayBeMissing) { EXPECT_PASSES_IN_A_NEW_PROCESS(aSessionBusWithoutThePortalIsSaid); }

TEST(Threads_RealtimePortal, IsLookedForOnNoBusThatWouldHaveToBeStarted) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(noSessionBusIsStarted);
}

TEST(Threads_RealtimePortal, BlocksNobodyByKeepingSilent) { EXPECT_PASSES_IN_A_NEW_PROCESS(aSilentPortalBlocksNobody); }
