#include "platform/threads/Scheduling.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace braq {
namespace {

constexpr int kLowestNice = -20;

int lowestNiceByLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NICE, &limit);
    // The limit is 1 for nice 19 up to 40 for nice -20, because limits cannot be negative.
    return 20 - static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 40));
}

} // namespace

bool Scheduling::isRealtime() const { return policy == SCHED_FIFO || policy == SCHED_RR; }

bool isThreadOfThisProcess(thread_act_t thread) { return thread > 0 && tgkill(getpid(), thread, 0) == 0; }

std::optional<Scheduling> readScheduling(thread_act_t thread) {
    if (!isThreadOfThisProcess(thread)) {
        return std::nullopt;
    }
    const int policy = sched_getscheduler(thread);
    sched_param parameters{};
    if (policy < 0 || sched_getparam(thread, &parameters) != 0) {
        return std::nullopt;
    }
    // -1 is also a valid nice value; only errno tells it from a failure.
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(thread));
    if (nice == -1 && errno != 0) {
        return std::nullopt;
    }
    return Scheduling{.policy = policy & ~SCHED_RESET_ON_FORK,
                      .priority = parameters.sched_priority,
                      .nice = nice,
                      .resetOnFork = (policy & SCHED_RESET_ON_FORK) != 0};
}

bool setFIFO(thread_act_t thread, int priority) {
    sched_param parameters{};
    parameters.sched_priority = priority;
    return sched_setscheduler(thread, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0;
}

bool setTimeshared(thread_act_t thread) {
    const std::optional<Scheduling> current = readScheduling(thread);
    if (!current) {
        return false;
    }
    // Without a privilege the flag can be set but never cleared.
    const int policy = SCHED_OTHER | (current->resetOnFork ? SCHED_RESET_ON_FORK : 0);
    const sched_param parameters{};
    return sched_setscheduler(thread, policy, &parameters) == 0;
}

void lowerNice(thread_act_t thread) {
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(thread), kLowestNice) == 0) {
        return;
    }
    const std::optional<Scheduling> current = readScheduling(thread);
    const int lowest = lowestNiceByLimit();
    if (current && lowest < current->nice) {
        setpriority(PRIO_PROCESS, static_cast<id_t>(thread), lowest);
    }
}

int realtimePriorityLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 99));
}

} // namespace braq
