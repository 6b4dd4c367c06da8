#pragma once

#include <ctime>

namespace braq::bench {

/// The processor's time that the calling thread has taken: what others do meanwhile does not count.
inline double threadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

} // namespace braq::bench
