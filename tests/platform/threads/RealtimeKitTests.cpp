#include "BRAQAudio/platform/threads.h"
#include "platform/threads/RealtimeServices.h"
#include "tests/platform/threads/FakeRealtimeKit.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>

using namespace threads_test;
using Behaviour = FakeRealtimeKit::Behaviour;
using std::chrono::seconds;

namespace {

// A bus with the service on it, and a process that depends on it.
struct Service {
    explicit Service(Behaviour behaviour) : kit(bus.address(), behaviour) {
        useSystemBus(bus.address());
        dropPermission();
    }

    PrivateBus bus;
    FakeRealtimeKit kit;
    LogRecorder log;
};

rlimit runLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_RTTIME, &limit);
    return limit;
}

bool isSame(const rlimit& one, const rlimit& other) {
    return one.rlim_cur == other.rlim_cur && one.rlim_max == other.rlim_max;
}

std::chrono::steady_clock::duration timeOf(const auto& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

void workerAsksForHighPriorityOnly() {
    Service service(Behaviour::grants);
    const rlimit before = runLimit();
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    REQUIRE(contains(service.log.waitFor("Worker threads"), "granted by rtkit"));
    const auto calls = service.kit.calls();
    REQUIRE(calls.size() == 1);
    REQUIRE(calls[0].method == "MakeThreadHighPriorityWithPID");
    REQUIRE(calls[0].process == static_cast<std::uint64_t>(getpid()));
    REQUIRE(calls[0].thread == static_cast<std::uint64_t>(thread.port()));
    REQUIRE(calls[0].priority == FakeRealtimeKit::kMinNiceLevel);
    REQUIRE(isSame(runLimit(), before));
}

void ioThreadAsksForRealtimeWithALimit() {
    Service service(Behaviour::grants);
    const ParkedThread thread;
    REQUIRE(BRAQThreadMakeIO(thread.port()) == KERN_SUCCESS);
    REQUIRE(contains(service.log.waitFor("I/O threads"), "granted by rtkit"));
    const auto calls = service.kit.calls();
    REQUIRE(calls.size() == 1);
    REQUIRE(calls[0].method == "MakeThreadRealtimeWithPID");
    REQUIRE(calls[0].process == static_cast<std::uint64_t>(getpid()));
    REQUIRE(calls[0].thread == static_cast<std::uint64_t>(thread.port()));
    REQUIRE(calls[0].priority == FakeRealtimeKit::kMaxRealtimePriority);
    REQUIRE(calls[0].runLimit.rlim_cur <= FakeRealtimeKit::kRTTimeUSecMax);
    REQUIRE(calls[0].runLimit.rlim_max <= FakeRealtimeKit::kRTTimeUSecMax);
}

void aNarrowerRunLimitIsKept() {
    const rlimit narrow{.rlim_cur = 40'000, .rlim_max = 90'000};
    REQUIRE(setrlimit(RLIMIT_RTTIME, &narrow) == 0);
    Service service(Behaviour::grants);
    const ParkedThread thread;
    REQUIRE(BRAQThreadMakeIO(thread.port()) == KERN_SUCCESS);
    REQUIRE(!service.log.waitFor("I/O threads").empty());
    REQUIRE(service.kit.calls().size() == 1);
    REQUIRE(isSame(service.kit.calls()[0].runLimit, narrow));
}

void everyThreadIsAskedForAndEachKindSaidOnce() {
    Service service(Behaviour::grants);
    const ParkedThread threads[4];
    makeWorker(threads[0].port(), 32);
    makeWorker(threads[1].port(), 32);
    REQUIRE(BRAQThreadMakeIO(threads[2].port()) == KERN_SUCCESS);
    REQUIRE(BRAQThreadMakeIO(threads[3].port()) == KERN_SUCCESS);
    while (service.kit.calls().size() < 4) {
        sched_yield();
    }
    REQUIRE(!service.log.waitFor("I/O threads").empty());
    for (std::size_t i = 0; i < 4; ++i) {
        REQUIRE(service.kit.calls()[i].thread == static_cast<std::uint64_t>(threads[i].port()));
    }
    REQUIRE(service.log.lines().size() == 2);
}

void whatIsGrantedIsHad() {
    Service service(Behaviour::grants);
    const ParkedThread worker;
    const ParkedThread io;
    makeWorker(worker.port(), 63);
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    REQUIRE(service.log.waitFor("Worker threads") ==
            "Worker threads run on time-sharing at nice -7 (granted by rtkit)");
    REQUIRE(service.log.waitFor("I/O threads") == "I/O threads run on SCHED_RR at priority 20 (granted by rtkit)");
    REQUIRE(policyOf(worker.port()) == POLICY_TIMESHARE);
    REQUIRE(niceOf(worker.port()) == -7);
    REQUIRE(policyOf(io.port()) == POLICY_RR);
    REQUIRE(basePriorityOf(io.port()) == 20);
}

void aBetterNiceValueIsNotAskedFor() {
    const ParkedThread worker;
    REQUIRE(setpriority(PRIO_PROCESS, static_cast<id_t>(worker.port()), -10) == 0);
    Service service(Behaviour::grants);
    makeWorker(worker.port(), 32);
    REQUIRE(contains(service.log.waitFor("Worker threads"), "nice -10"));
    REQUIRE(niceOf(worker.port()) == -10);
    REQUIRE(service.kit.calls().empty());
}

void refusalIsSaidAndLeavesTheThreadsAsTheyAre() {
    Service service(Behaviour::refuses);
    const ParkedThread worker;
    const ParkedThread io;
    makeWorker(worker.port(), 32);
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    REQUIRE(contains(service.log.waitFor("Worker threads"), "not today"));
    REQUIRE(contains(service.log.waitFor("I/O threads"), "not today"));
    REQUIRE(service.kit.calls().size() == 2);
    REQUIRE(policyOf(worker.port()) == POLICY_TIMESHARE);
    REQUIRE(policyOf(io.port()) == POLICY_TIMESHARE);
    REQUIRE(niceOf(worker.port()) == niceOf(gettid()));
}

void aBusWithoutTheServiceIsSaid() {
    const PrivateBus bus;
    useSystemBus(bus.address());
    dropPermission();
    LogRecorder log;
    const ParkedThread worker;
    makeWorker(worker.port(), 32);
    REQUIRE(contains(log.waitFor("Worker threads"), "none from rtkit: org.freedesktop.DBus.Error.ServiceUnknown"));
}

void aSilentServiceBlocksNobodyAndIsSaidInTheEnd() {
    Service service(Behaviour::answersNothing);
    const ParkedThread worker;
    const ParkedThread io;
    REQUIRE(timeOf([&] {
                makeWorker(worker.port(), 32);
                REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
                service.kit.waitUntilAsked();
                makeWorker(worker.port(), 32);
                REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
            }) < seconds(3));
    REQUIRE(contains(service.log.waitFor("Worker threads"), "NoReply"));
    REQUIRE(contains(service.log.waitFor("I/O threads"), "NoReply"));
}

void aSilentServiceIsWaitedForOnce() {
    Service service(Behaviour::answersNothing);
    const ParkedThread worker;
    braq::RealtimeServices services;
    REQUIRE(contains(services.makeHighPriority(worker.port()), "NoReply"));
    REQUIRE(timeOf([&] {
                REQUIRE(contains(services.makeHighPriority(worker.port()), "NoReply"));
                REQUIRE(contains(services.makeRealtime(worker.port()), "NoReply"));
            }) < seconds(3));
}

void exitWhileTheServiceIsSilent() {
    Service service(Behaviour::answersNothing);
    const ParkedThread worker;
    makeWorker(worker.port(), 32);
    service.kit.waitUntilAsked();
}

// A bus that lets itself be connected to and then says nothing.
class MuteBus {
  public:
    MuteBus() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string name = "braq-mute-bus-" + std::to_string(getpid());
        std::memcpy(address.sun_path + 1, name.data(), name.size());
        const auto bytes = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        REQUIRE(mSocket >= 0);
        REQUIRE(bind(mSocket, reinterpret_cast<const sockaddr*>(&address), bytes) == 0);
        REQUIRE(listen(mSocket, 8) == 0);
        useSystemBus("unix:abstract=" + name);
    }
    MuteBus(const MuteBus&) = delete;
    MuteBus& operator=(const MuteBus&) = delete;
    ~MuteBus() { close(mSocket); }

    void waitForConnection() const { REQUIRE(accept(mSocket, nullptr, nullptr) >= 0); }

  private:
    const int mSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

void exitWhileTheBusHangs() {
    const MuteBus bus;
    dropPermission({.realtimePriority = 0, .nice = 0});
    const ParkedThread worker;
    REQUIRE(timeOf([&] {
                makeWorker(worker.port(), 32);
                bus.waitForConnection();
                REQUIRE(BRAQThreadMakeIO(worker.port()) == KERN_SUCCESS);
            }) < seconds(3));
    REQUIRE(niceOf(worker.port()) == niceOf(gettid()));
}

void aBusThatGoesAwayEndsNothing() {
    const ParkedThread worker;
    const ParkedThread io;
    LogRecorder log;
    {
        const PrivateBus bus;
        FakeRealtimeKit kit(bus.address(), Behaviour::answersNothing);
        useSystemBus(bus.address());
        dropPermission();
        makeWorker(worker.port(), 32);
        kit.waitUntilAsked();
    }
    REQUIRE(contains(log.waitFor("Worker threads"), "none from rtkit"));
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    REQUIRE(contains(log.waitFor("I/O threads"), "none from rtkit"));
}

void sigpipeIsLeftAlone() {
    struct sigaction action {};
    REQUIRE(sigaction(SIGPIPE, nullptr, &action) == 0);
    REQUIRE(action.sa_handler == SIG_DFL);
    const PrivateBus bus;
    useSystemBus(bus.address());
    dropPermission();
    LogRecorder log;
    const ParkedThread worker;
    makeWorker(worker.port(), 32);
    REQUIRE(contains(log.waitFor("Worker threads"), "ServiceUnknown"));
    REQUIRE(sigaction(SIGPIPE, nullptr, &action) == 0);
    REQUIRE(action.sa_handler == SIG_DFL);
}

void aThreadThatEndedIsNotAskedFor() {
    Service service(Behaviour::grants);
    const ParkedThread io;
    thread_act_t ended = 0;
    {
        const ParkedThread worker;
        ended = worker.port();
        makeWorker(worker.port(), 32);
    }
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    REQUIRE(!service.log.waitFor("I/O threads").empty());
    REQUIRE(service.kit.calls().back().thread == static_cast<std::uint64_t>(io.port()));
    REQUIRE(thread_policy_set(ended, THREAD_PRECEDENCE_POLICY, &ended, 1) == KERN_INVALID_ARGUMENT);
}

} // namespace

TEST(Threads_RealtimeKit, AWorkerAsksForHighPriorityAndNothingElse) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(workerAsksForHighPriorityOnly);
}

TEST(Threads_RealtimeKit, AnIOThreadAsksForRealtimeAfterLimitingItsRun) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(ioThreadAsksForRealtimeWithALimit);
}

TEST(Threads_RealtimeKit, ANarrowerRunLimitIsKept) { EXPECT_PASSES_IN_A_NEW_PROCESS(aNarrowerRunLimitIsKept); }

TEST(Threads_RealtimeKit, IsAskedForEveryThreadInOrderAndTheLogSaysItOnce) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(everyThreadIsAskedForAndEachKindSaidOnce);
}

TEST(Threads_RealtimeKit, ARefusalIsSaidAndChangesNothing) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(refusalIsSaidAndLeavesTheThreadsAsTheyAre);
}

TEST(Threads_RealtimeKit, ABusWithoutTheServiceIsSaid) { EXPECT_PASSES_IN_A_NEW_PROCESS(aBusWithoutTheServiceIsSaid); }

TEST(Threads_RealtimeKit, AServiceThatNeverAnswersBlocksNobodyAndIsSaidInTheEnd) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aSilentServiceBlocksNobodyAndIsSaidInTheEnd);
}

TEST(Threads_RealtimeKit, AServiceThatNeverAnswersIsWaitedForOnce) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aSilentServiceIsWaitedForOnce);
}

TEST(Threads_RealtimeKit, AServiceThatNeverAnswersDoesNotKeepTheProcessFromExiting) {
    // The broker would wait for five seconds.
    const auto time = timeOf([] { EXPECT_PASSES_IN_A_NEW_PROCESS(exitWhileTheServiceIsSilent); });
    EXPECT_LT(time, seconds(5));
}

TEST(Threads_RealtimeKit, ABusThatHangsNeitherBlocksNorKeepsTheProcessFromExiting) {
    // The broker would wait for twenty-five seconds.
    const auto time = timeOf([] { EXPECT_PASSES_IN_A_NEW_PROCESS(exitWhileTheBusHangs); });
    EXPECT_LT(time, seconds(15));
}

TEST(Threads_RealtimeKit, ABusThatGoesAwayEndsNothing) { EXPECT_PASSES_IN_A_NEW_PROCESS(aBusThatGoesAwayEndsNothing); }

TEST(Threads_RealtimeKit, LeavesSIGPIPEToTheApplication) { EXPECT_PASSES_IN_A_NEW_PROCESS(sigpipeIsLeftAlone); }

TEST(Threads_RealtimeKit, AThreadThatEndedMeanwhileDoesNoHarm) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aThreadThatEndedIsNotAskedFor);
}

// The service of the test can do what it grants only where the test itself may.
class Threads_RealtimeKitWithPermission : public WithPermission {};

TEST_F(Threads_RealtimeKitWithPermission, WhatIsGrantedIsHad) { EXPECT_PASSES_IN_A_NEW_PROCESS(whatIsGrantedIsHad); }

TEST_F(Threads_RealtimeKitWithPermission, ABetterNiceValueIsNotGivenAway) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aBetterNiceValueIsNotAskedFor);
}
