#include "platform/foundation/HostTime.h"

#include <time.h>

namespace braq {

UInt64 monotonicTime() noexcept {
    constexpr UInt64 wholeSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<UInt64>(now.tv_sec) * wholeSecond + static_cast<UInt64>(now.tv_nsec);
}

} // namespace braq
