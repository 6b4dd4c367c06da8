#include "tests/platform/threads/SimulatedLimits.h"

#include "tests/platform/threads/ThreadHelpers.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace threads_test {
namespace {

// Set while no other thread uses the calls.
bool isSimulating = false;
bool isBinding = false;
Limits simulated;

bool schedulerIsPermitted(pid_t thread, int policyAndFlag, const sched_param& parameters) {
    const int policy = policyAndFlag & ~SCHED_RESET_ON_FORK;
    const int current = kernelPolicyOf(thread);
    const int limit = static_cast<int>(simulated.realtimePriority);
    const bool clearsFlag = (current & SCHED_RESET_ON_FORK) != 0 && (policyAndFlag & SCHED_RESET_ON_FORK) == 0;
    const bool isRealtime = policy == SCHED_FIFO || policy == SCHED_RR;
    const bool entersRealtime = isRealtime && policy != (current & ~SCHED_RESET_ON_FORK);
    const bool raises = parameters.sched_priority > kernelPriorityOf(thread) && parameters.sched_priority > limit;
    return !clearsFlag && !(entersRealtime && limit == 0) && !(isRealtime && raises);
}

bool niceIsPermitted(id_t thread, int nice) {
    return nice >= niceOf(static_cast<pid_t>(thread)) || 20 - nice <= static_cast<int>(simulated.nice);
}

} // namespace

void simulateLimits(Limits limits) {
    simulated = limits;
    isSimulating = isBinding = true;
}

void simulateLimitsThatDoNotBind(Limits limits) {
    simulated = limits;
    isSimulating = true;
}

} // namespace threads_test

// These stand before the C library's functions of the same names.

extern "C" int sched_setscheduler(pid_t thread, int policy, const sched_param* parameters) noexcept {
    if (threads_test::isBinding && !threads_test::schedulerIsPermitted(thread, policy, *parameters)) {
        errno = EPERM;
        return -1;
    }
    return static_cast<int>(syscall(SYS_sched_setscheduler, thread, policy, parameters));
}

extern "C" int setpriority(__priority_which_t which, id_t who, int priority) noexcept {
    if (threads_test::isBinding && !threads_test::niceIsPermitted(who, priority)) {
        errno = EACCES;
        return -1;
    }
    return static_cast<int>(syscall(SYS_setpriority, which, who, priority));
}

// Sanitizers call this one before they are ready for instrumented code.
#if defined(__clang__)
#define BRAQ_TEST_PLAIN __attribute__((no_sanitize("address", "thread", "undefined")))
#else
#define BRAQ_TEST_PLAIN __attribute__((no_sanitize_address, no_sanitize_thread, no_sanitize_undefined))
#endif

extern "C" BRAQ_TEST_PLAIN int getrlimit(__rlimit_resource_t resource, rlimit* limit) noexcept {
    if (threads_test::isSimulating && (resource == RLIMIT_RTPRIO || resource == RLIMIT_NICE)) {
        limit->rlim_max = resource == RLIMIT_NICE ? threads_test::simulated.nice //
                                                  : threads_test::simulated.realtimePriority;
        limit->rlim_cur = limit->rlim_max;
        return 0;
    }
    return static_cast<int>(syscall(SYS_prlimit64, 0, resource, nullptr, limit));
}
