#include "platform/threads/Start.h"

#include "BRAQAudio/platform/threads.h"
#include "platform/threads/Barrier.h"
#include "platform/threads/Scheduling.h"

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>

namespace braq {
namespace {

// If a stack is refused at this size, the reason is not its size.
constexpr std::size_t kMostStackBytes = 256 * BRAQThreadStackBytes;

// On the heap, released by creator and thread: the last one frees it, so that neither touches it after the other has
// moved on.
struct HandOver {
    const char* name;
    void (*body)(void*);
    void* argument;
    std::atomic<thread_act_t> thread{0};
    std::atomic<int> users{2};
};

void letGo(HandOver* handOver) {
    if (handOver->users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete handOver;
    }
}

void nameThisThread(const char* name) {
    if (name == nullptr) {
        return;
    }
    char kept[16] = {};
    std::strncpy(kept, name, sizeof(kept) - 1);
    pthread_setname_np(pthread_self(), kept);
}

// The kernel passes a creator's real-time policy on to its threads; a thread of the library has one only if it was set
// explicitly. Leaving a real-time policy needs no permission.
void leaveInheritedRealtime() {
    const std::optional<Scheduling> inherited = readScheduling(BRAQThreadSelf());
    if (inherited && inherited->isRealtime()) {
        setTimeshared(BRAQThreadSelf());
    }
}

void* threadEntry(void* opaque) {
    auto* handOver = static_cast<HandOver*>(opaque);
    const auto body = handOver->body;
    void* const argument = handOver->argument;
    nameThisThread(handOver->name);
    leaveInheritedRealtime();
    handOver->thread.store(BRAQThreadSelf(), std::memory_order_release);
    handOver->thread.notify_one();
    letGo(handOver);
    body(argument);
    return nullptr;
}

} // namespace

int createDetachedThread(pthread_t* thread, std::size_t stackBytes, void* (*entry)(void*), void* argument) {
    pthread_attr_t attributes;
    if (const int status = pthread_attr_init(&attributes); status != 0) {
        return status;
    }
    sigset_t everySignal;
    sigfillset(&everySignal);
    int status = pthread_attr_setsigmask_np(&attributes, &everySignal);
    if (status == 0) {
        status = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    }
    if (status == 0) {
        do {
            status = pthread_attr_setstacksize(&attributes, stackBytes);
            if (status == 0) {
                status = pthread_create(thread, &attributes, entry, argument);
            }
            stackBytes += BRAQThreadStackBytes;
        } while (status == EINVAL && stackBytes <= kMostStackBytes);
    }
    pthread_attr_destroy(&attributes);
    return status;
}

} // namespace braq

int BRAQThreadStart(BRAQThread* thread, const char* name, void (*main)(void*), void* argument) {
    auto* handOver = new (std::nothrow) braq::HandOver{name, main, argument};
    if (handOver == nullptr) {
        return ENOMEM;
    }
    braq::prepareBarrierWhileFree();
    pthread_t created{};
    if (const int status = braq::createDetachedThread(&created, BRAQThreadStackBytes, braq::threadEntry, handOver);
        status != 0) {
        delete handOver;
        return status;
    }
    handOver->thread.wait(0, std::memory_order_acquire);
    *thread = {created, handOver->thread.load(std::memory_order_acquire)};
    braq::letGo(handOver);
    return 0;
}

thread_act_t BRAQThreadSelf() { return gettid(); }
