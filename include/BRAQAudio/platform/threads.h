#pragma once

// Threads of the library: how they are started and scheduled on Linux.

#include "BRAQAudio/platform/BRAQThread.h"
#include "BRAQAudio/platform/types.h"

#include <cstddef>

/// @addtogroup threads
/// @{

using kern_return_t = int;
using integer_t = int;

constexpr kern_return_t KERN_SUCCESS = 0;
constexpr kern_return_t KERN_INVALID_ARGUMENT = 4;

/// Stack of every thread that the library starts.
constexpr std::size_t BRAQThreadStackBytes = std::size_t{256} * 1024;

/// Starts a detached thread that runs `main(argument)`, with all signals blocked, a stack of `BRAQThreadStackBytes` and
/// `name` (15 bytes are kept) for debuggers. The thread does not keep the process from exiting. `thread` may be freed
/// as soon as this returns.
/// @return 0, or an errno value (then no thread runs, and `thread` is not written)
/// Any thread but an I/O thread.
[[nodiscard]] int BRAQThreadStart(BRAQThread* thread, const char* name, void (*main)(void*), void* argument);

/// The calling thread.
thread_act_t BRAQThreadSelf();

// Flavours of `thread_info`, each with the number of integers in its record.
constexpr UInt32 THREAD_BASIC_INFO = 3;
constexpr UInt32 THREAD_SCHED_TIMESHARE_INFO = 10;
constexpr UInt32 THREAD_SCHED_RR_INFO = 11;
constexpr UInt32 THREAD_SCHED_FIFO_INFO = 12;
constexpr UInt32 THREAD_BASIC_INFO_COUNT = 10;
constexpr UInt32 THREAD_SCHED_TIMESHARE_INFO_COUNT = 5;
constexpr UInt32 THREAD_SCHED_RR_INFO_COUNT = 5;
constexpr UInt32 THREAD_SCHED_FIFO_INFO_COUNT = 4;

constexpr integer_t POLICY_TIMESHARE = 1;
constexpr integer_t POLICY_RR = 2;
constexpr integer_t POLICY_FIFO = 4;

/// `THREAD_BASIC_INFO`. Of the ten integers only the policy is filled in; the others are 0.
struct thread_basic_info {
    integer_t policy; ///< POLICY_TIMESHARE, POLICY_RR or POLICY_FIFO
    integer_t unused[9];
};
/// All scheduling records begin with the base priority, 0 to 63: for a time-shared thread, 31 minus its nice value; for
/// a FIFO or round-robin thread, its real-time priority. The other integers are 0.
struct policy_timeshare_info {
    integer_t base_priority;
    integer_t unused[4];
};
struct policy_rr_info {
    integer_t base_priority;
    integer_t unused[4];
};
struct policy_fifo_info {
    integer_t base_priority;
    integer_t unused[3];
};

/// Reads a flavour's record about a thread of this process.
/// @param count in: integers that `info` has room for; out: integers written
/// @return KERN_SUCCESS, or KERN_INVALID_ARGUMENT for a thread that has ended, an unknown flavour, a flavour that does
///        not fit the thread's policy, or a count that is too small; then nothing is written
/// Any thread but an I/O thread.
kern_return_t thread_info(thread_act_t thread, UInt32 flavor, integer_t* info, UInt32* count);

// Flavours of `thread_policy_set`.
constexpr UInt32 THREAD_EXTENDED_POLICY = 1;
constexpr UInt32 THREAD_PRECEDENCE_POLICY = 3;
constexpr UInt32 THREAD_EXTENDED_POLICY_COUNT = 1;
constexpr UInt32 THREAD_PRECEDENCE_POLICY_COUNT = 1;

/// The record of `THREAD_EXTENDED_POLICY`.
struct thread_extended_policy {
    integer_t timeshare; ///< 0: fixed priority; else time-shared
};
/// The record of `THREAD_PRECEDENCE_POLICY`.
struct thread_precedence_policy {
    integer_t importance; ///< 0 to 63, higher runs first
};

/// Sets the scheduling policy of a thread of this process, as far as the process is permitted. See
/// `docs/guide/threads.md` for what each policy becomes on Linux and for the fallbacks. Lack of permission is not an
/// error: the log says once which policy was obtained.
/// @return KERN_SUCCESS, or KERN_INVALID_ARGUMENT for a thread that has ended, an unknown flavour or a wrong count
/// Any thread but an I/O thread. Returns promptly, even if the system's services do not respond.
kern_return_t thread_policy_set(thread_act_t thread, UInt32 flavor, const integer_t* policy, UInt32 count);

/// Priority of the threads that run device cycles: above every worker. Worker priorities end at 60.
constexpr int BRAQThreadIOPriority = 70;

/// Sets a thread of this process to SCHED_FIFO at `BRAQThreadIOPriority`, through the system's real-time scheduling
/// service if the process itself may not. Otherwise like `thread_policy_set`.
kern_return_t BRAQThreadMakeIO(thread_act_t thread);

/// @}
