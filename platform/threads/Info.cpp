#include "BRAQAudio/platform/threads.h"
#include "platform/threads/Scheduling.h"

#include <sched.h>

#include <algorithm>
#include <iterator>

namespace {

constexpr int basePriorityOfNiceZero = 31;
constexpr int highestBasePriority = 63;

integer_t policyOf(const braq::Scheduling& scheduling) {
    switch (scheduling.policy) {
    case SCHED_FIFO: return POLICY_FIFO;
    case SCHED_RR: return POLICY_RR;
    default: return POLICY_TIMESHARE;
    }
}

integer_t basePriorityOf(const braq::Scheduling& scheduling) {
    const int priority = scheduling.isRealtime() ? scheduling.priority : basePriorityOfNiceZero - scheduling.nice;
    return std::clamp(priority, 0, highestBasePriority);
}

// Every record is one integer with a value, and zeros.
struct Record {
    UInt32 flavor;
    integer_t policy; // 0: fits a thread of any policy
    UInt32 count;
    integer_t (*value)(const braq::Scheduling&);
};

constexpr Record infoRecords[] = {
    {THREAD_BASIC_INFO, 0, THREAD_BASIC_INFO_COUNT, policyOf},
    {THREAD_SCHED_TIMESHARE_INFO, POLICY_TIMESHARE, THREAD_SCHED_TIMESHARE_INFO_COUNT, basePriorityOf},
    {THREAD_SCHED_RR_INFO, POLICY_RR, THREAD_SCHED_RR_INFO_COUNT, basePriorityOf},
    {THREAD_SCHED_FIFO_INFO, POLICY_FIFO, THREAD_SCHED_FIFO_INFO_COUNT, basePriorityOf},
};

static_assert(sizeof(thread_basic_info) == THREAD_BASIC_INFO_COUNT * sizeof(integer_t));
static_assert(sizeof(policy_timeshare_info) == THREAD_SCHED_TIMESHARE_INFO_COUNT * sizeof(integer_t));
static_assert(sizeof(policy_rr_info) == THREAD_SCHED_RR_INFO_COUNT * sizeof(integer_t));
static_assert(sizeof(policy_fifo_info) == THREAD_SCHED_FIFO_INFO_COUNT * sizeof(integer_t));

} // namespace

kern_return_t thread_info(thread_act_t thread, UInt32 flavor, integer_t* info, UInt32* count) {
    const auto* const record = std::ranges::find(infoRecords, flavor, &Record::flavor);
    if (record == std::end(infoRecords) || info == nullptr || count == nullptr || *count < record->count) {
        return KERN_INVALID_ARGUMENT;
    }
    const std::optional<braq::Scheduling> scheduling = braq::readScheduling(thread);
    if (!scheduling || (record->policy != 0 && record->policy != policyOf(*scheduling))) {
        return KERN_INVALID_ARGUMENT;
    }
    std::fill_n(info, record->count, 0);
    info[0] = record->value(*scheduling);
    *count = record->count;
    return KERN_SUCCESS;
}
