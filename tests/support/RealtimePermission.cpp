#include "tests/support/RealtimePermission.h"

#include <sched.h>

#include <thread>

namespace braq::tests {

bool mayUseRealtimeScheduling() {
    bool permitted = false;
    std::thread([&permitted] { // a thread that ends with what it is given
        sched_param parameters{};
        parameters.sched_priority = sched_get_priority_max(SCHED_FIFO);
        permitted = sched_setscheduler(0, SCHED_FIFO, &parameters) == 0;
    })
        .join();
    return permitted;
}

} // namespace braq::tests
