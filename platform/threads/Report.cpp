#include "platform/threads/Report.h"

#include "platform/foundation/QuietLog.h"
#include "platform/threads/Scheduling.h"

#include <sched.h>

#include <atomic>

namespace braq {
namespace {

std::string describe(const Scheduling& scheduling) {
    if (scheduling.isRealtime()) {
        return (scheduling.policy == SCHED_FIFO ? "SCHED_FIFO" : "SCHED_RR") + std::string(" at priority ") +
               std::to_string(scheduling.priority);
    }
    return "time-sharing at nice " + std::to_string(scheduling.nice);
}

bool isFirstOfItsKind(ThreadKind kind) {
    static std::atomic_flag workerSaid;
    static std::atomic_flag ioSaid;
    return !(kind == ThreadKind::worker ? workerSaid : ioSaid).test_and_set();
}

} // namespace

void reportOnce(ThreadKind kind, thread_act_t thread, const std::string& explanation) {
    const std::optional<Scheduling> scheduling = readScheduling(thread);
    if (!scheduling || !isFirstOfItsKind(kind)) {
        return;
    }
    std::string line = kind == ThreadKind::worker ? "Worker threads run on " : "I/O threads run on ";
    line += describe(*scheduling);
    if (!explanation.empty()) {
        line += " (" + explanation + ")";
    }
    logQuietly(line);
}

} // namespace braq
