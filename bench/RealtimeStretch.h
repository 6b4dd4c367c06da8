#pragma once

#include <sched.h>

namespace braq::bench {

/// Puts the calling thread on SCHED_FIFO, where it is permitted to, until it is destroyed.
class [[nodiscard]] RealtimeStretch {
  public:
    explicit RealtimeStretch(int priority) {
        sched_param parameters{};
        parameters.sched_priority = priority;
        mIsRealtime = sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0;
    }
    ~RealtimeStretch() {
        if (mIsRealtime) {
            const sched_param parameters{};
            sched_setscheduler(0, SCHED_OTHER | SCHED_RESET_ON_FORK, &parameters);
        }
    }
    RealtimeStretch(const RealtimeStretch&) = delete;
    RealtimeStretch& operator=(const RealtimeStretch&) = delete;

    bool isRealtime() const { return mIsRealtime; }

  private:
    bool mIsRealtime;
};

} // namespace braq::bench
