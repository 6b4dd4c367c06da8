#include "platform/threads/Barrier.h"

#include <linux/membarrier.h>
#include <sys/single_threaded.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace braq {

#if defined(__SANITIZE_THREAD__)
#define BRAQ_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define BRAQ_THREAD_SANITIZER 1
#endif
#endif

namespace {

bool call(membarrier_cmd command) noexcept { return syscall(SYS_membarrier, command, 0, 0) == 0; }

} // namespace

// The result is not kept: it matters whether the call is allowed when a ring is created.
void prepareBarrierWhileFree() noexcept {
    if (__libc_single_threaded != 0) {
        call(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
    }
}

bool canPassBarrierOnAllThreads() noexcept {
#if defined(BRAQ_THREAD_SANITIZER)
    return false;
#else
    static const bool isRegistered = call(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
    return isRegistered;
#endif
}

bool passBarrierOnAllThreads() noexcept { return call(MEMBARRIER_CMD_PRIVATE_EXPEDITED); }

} // namespace braq
