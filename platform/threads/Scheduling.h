#pragma once

#include "BRAQAudio/platform/threads.h"

#include <optional>

// The kernel's scheduling calls for a thread of this process. Any process may call them: without permission they change
// nothing and report it.

namespace braq {

/// How the kernel schedules a thread.
struct Scheduling {
    int policy;   ///< SCHED_OTHER, SCHED_FIFO, …, without flags
    int priority; ///< real-time priority; 0 for a time-shared thread
    int nice;     ///< -20 to 19
    bool resetOnFork;

    /// Every policy but FIFO and round-robin counts as time-shared.
    bool isRealtime() const;
};

/// Whether `thread` is a living thread of this process.
bool isThreadOfThisProcess(thread_act_t thread);

/// Nothing for a thread that has ended or belongs to another process.
std::optional<Scheduling> readScheduling(thread_act_t thread);

/// SCHED_FIFO at `priority`; threads and processes that the thread starts are time-shared.
/// @return false if not permitted or the thread has ended
bool setFIFO(thread_act_t thread, int priority);

/// Back to SCHED_OTHER; the nice value stays.
bool setTimeshared(thread_act_t thread);

/// Lowers the thread's nice value as far as the process may; never raises it.
void lowerNice(thread_act_t thread);

/// The highest real-time priority that RLIMIT_RTPRIO allows, 0 for none.
int realtimePriorityLimit();

} // namespace braq
