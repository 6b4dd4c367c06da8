#pragma once

// Threads of the library: how they are started and what scheduling they get on Linux.

#include "BRAQAudio/platform/BRAQThread.h"
#include "BRAQAudio/platform/types.h"

#include <cstddef>

using kern_return_t = int;
using integer_t = int;

constexpr kern_return_t KERN_SUCCESS = 0;
constexpr kern_return_t KERN_INVALID_ARGUMENT = 4;

/// Stack of every thread that the library starts.
constexpr std::size_t BRAQThreadStackBytes = std::size_t{256} * 1024;

/// Starts a detached thread that runs `main(argument)`, with every signal blocked, a stack of `BRAQThreadStackBytes` and
/// `name` (15 bytes are kept) for debuggers. The thread never keeps the process from exiting; `thread` may be left or
/// freed as soon as this returns.
/// @return 0, or an errno value (no thread runs then, and `thread` is untouched)
/// Any thread but an I/O thread.
[[nodiscard]] int BRAQThreadStart(BRAQThread* thread, const char* name, void (*main)(void*), void* argument);

/// The calling thread.
thread_act_t BRAQThreadSelf();

// Flavours of `thread_info`, each with the count of integers that its record has.
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

/// `THREAD_BASIC_INFO`; of the ten integers only the policy is answered here, the others are 0.
struct thread_basic_info {
    integer_t policy; ///< POLICY_TIMESHARE, POLICY_RR or POLICY_FIFO
    integer_t unused[9];
};
/// The scheduling records all begin with the base priority, 0 to 63: of a time-shared thread 31 minus its nice value, of
/// a FIFO or round-robin thread its real-time priority. The other integers are 0.
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

/// Answers a flavour's record about a thread of this process.
/// @param count in: integers that `info` has room for; out: integers written
/// @return KERN_SUCCESS, or KERN_INVALID_ARGUMENT for a thread that is gone, an unknown flavour, a flavour that does not
///         fit the thread's policy, or a count that is too small; nothing is written then
/// Any thread but an I/O thread.
kern_return_t thread_info(thread_act_t thread, UInt32 flavor, integer_t* info, UInt32* count);

// Flavours of `thread_policy_set`.
constexpr UInt32 THREAD_EXTENDED_POLICY = 1;
constexpr UInt32 THREAD_PRECEDENCE_POLICY = 3;
constexpr UInt32 THREAD_EXTENDED_POLICY_COUNT = 1;
constexpr UInt32 THREAD_PRECEDENCE_POLICY_COUNT = 1;

/// What `THREAD_EXTENDED_POLICY` sets.
struct thread_extended_policy {
    integer_t timeshare; ///< 0: fixed priority; else time-shared
};
/// What `THREAD_PRECEDENCE_POLICY` sets.
struct thread_precedence_policy {
    integer_t importance; ///< 0 to 63, higher runs first
};

/// Puts a thread of this process on a scheduling policy as far as the process is allowed to. See `docs/guide/threads.md` for
/// what each becomes on Linux and what is tried where it is not permitted. Lack of permission is no error: what was had
/// is said once in the log.
/// @return KERN_SUCCESS, or KERN_INVALID_ARGUMENT for a thread that is gone, an unknown flavour or a wrong count
/// Any thread but an I/O thread; returns promptly, also when the system's services do not answer.
kern_return_t thread_policy_set(thread_act_t thread, UInt32 flavor, const integer_t* policy, UInt32 count);

/// Priority of the threads that run device cycles: above every worker, whose priorities end at 60.
constexpr int BRAQThreadIOPriority = 70;

/// Puts a thread of this process on SCHED_FIFO at `BRAQThreadIOPriority`, or has the system's real-time scheduling
/// service do so where the process may not. Otherwise as `thread_policy_set`.
kern_return_t BRAQThreadMakeIO(thread_act_t thread);

/// Whether the system lets this process use `BRAQThreadBarrierAll`. The first call asks for it, which may take milliseconds;
/// processes that this one forks inherit the answer. Under the thread sanitizer, which does not know what such a
/// barrier orders: no. Any thread but an I/O thread.
bool BRAQThreadCanBarrierAll() noexcept;

/// Returns when every thread of the process has passed a memory barrier, so that of two plain accesses that such a thread
/// makes one after the other, no processor has done only the second. Interrupts other processors for about a microsecond.
/// @return false when the system refuses
/// Any thread but an I/O thread.
bool BRAQThreadBarrierAll() noexcept;
