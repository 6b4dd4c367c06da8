#pragma once

#include <pthread.h>
#include <sys/types.h>

/// @addtogroup threads
/// @{

/// The scheduler's id of a thread; on Linux the kernel's thread id. 0 is no thread.
using thread_act_t = pid_t;

/// A thread of the library.
struct BRAQThread {
    pthread_t mThread;
    thread_act_t mPort;
};

/// @}
