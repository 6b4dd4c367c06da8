#include "BRAQAudio/platform/threads.h"
#include "platform/threads/Broker.h"
#include "platform/threads/Report.h"
#include "platform/threads/Scheduling.h"

#include <algorithm>

namespace {

constexpr int kHighestImportance = 63;
constexpr int kHighestWorkerPriority = 60;
static_assert(kHighestWorkerPriority < BRAQThreadIOPriority);

int workerPriority(integer_t importance) {
    return std::max(1, std::clamp(importance, 1, kHighestImportance) * kHighestWorkerPriority / kHighestImportance);
}

// The highest priority that the limit allows is reserved for the I/O threads. Only trying shows whether the limit
// applies to the process.
int permittedWorkerPriority(thread_act_t thread, int wanted) {
    const int limit = braq::realtimePriorityLimit();
    const bool isBound = limit > 0 && limit <= wanted && !braq::setFIFO(thread, limit + 1);
    return isBound ? std::max(1, limit - 1) : wanted;
}

// The two calls that set a fixed priority for a worker follow each other, and no state is kept in between: a real-time
// policy after the first shows that the second may continue.
void setTimeshare(thread_act_t thread, const braq::Scheduling& current, bool timeshare) {
    if (timeshare) {
        braq::setTimeshared(thread);
    } else {
        braq::setFIFO(thread, current.isRealtime() ? current.priority : 1);
    }
}

void setImportance(thread_act_t thread, const braq::Scheduling& current, integer_t importance) {
    if (!current.isRealtime()) {
        braq::lowerNice(thread);
        braq::askForHighPriority(thread);
        return;
    }
    braq::setFIFO(thread, permittedWorkerPriority(thread, workerPriority(importance)));
    braq::reportOnce(braq::ThreadKind::worker, thread);
}

} // namespace

kern_return_t thread_policy_set(thread_act_t thread, UInt32 flavor, const integer_t* policy, UInt32 count) {
    const std::optional<braq::Scheduling> current = braq::readScheduling(thread);
    if (!current || policy == nullptr) {
        return KERN_INVALID_ARGUMENT;
    }
    if (flavor == THREAD_EXTENDED_POLICY && count == THREAD_EXTENDED_POLICY_COUNT) {
        setTimeshare(thread, *current, policy[0] != 0);
        return KERN_SUCCESS;
    }
    if (flavor == THREAD_PRECEDENCE_POLICY && count == THREAD_PRECEDENCE_POLICY_COUNT) {
        setImportance(thread, *current, policy[0]);
        return KERN_SUCCESS;
    }
    return KERN_INVALID_ARGUMENT;
}

kern_return_t BRAQThreadMakeIO(thread_act_t thread) {
    if (!braq::isThreadOfThisProcess(thread)) {
        return KERN_INVALID_ARGUMENT;
    }
    // A limit below the wanted priority is preferred to rtkit: rtkit's limit on processor time would also apply to
    // workers, which then have a real-time policy.
    const int allowed = std::min(BRAQThreadIOPriority, braq::realtimePriorityLimit());
    if (braq::setFIFO(thread, BRAQThreadIOPriority) || (allowed > 0 && braq::setFIFO(thread, allowed))) {
        braq::reportOnce(braq::ThreadKind::io, thread);
    } else {
        braq::lowerNice(thread);
        braq::askForRealtime(thread);
    }
    return KERN_SUCCESS;
}
