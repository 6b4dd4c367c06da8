#pragma once

#include <pthread.h>

#include <cstddef>

namespace braq {

/// Creates a detached thread with all signals blocked. If the C library refuses `stackBytes` because thread-local
/// storage alone would fill it, the stack grows in steps of `BRAQThreadStackBytes` until the thread can be created.
/// @return 0, or an errno value
[[nodiscard]] int createDetachedThread(pthread_t* thread, std::size_t stackBytes, void* (*entry)(void*),
                                       void* argument);

} // namespace braq
