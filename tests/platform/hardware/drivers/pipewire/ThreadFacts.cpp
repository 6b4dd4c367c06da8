#include "tests/platform/hardware/drivers/pipewire/ThreadFacts.h"

#include "tests/platform/threads/ThreadHelpers.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace braq::tests {

ThreadFacts factsOfThisThread() {
    ThreadFacts facts;
    facts.thread = gettid();
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    facts.name = name;
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        pthread_attr_getstacksize(&attributes, &facts.stackBytes);
        pthread_attr_destroy(&attributes);
    }
    sched_param parameters{};
    facts.policy = sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
    facts.priority = sched_getparam(0, &parameters) == 0 ? parameters.sched_priority : -1;
    return facts;
}

bool hasStackOfTheLibrary(const ThreadFacts& facts) {
    // The C library rounds to pages and counts the guard page.
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const bool isEnough = facts.stackBytes + page >= BRAQThreadStackBytes;
    return isEnough && (threads_test::kIsSanitized || facts.stackBytes <= BRAQThreadStackBytes + 2 * page);
}

} // namespace braq::tests
