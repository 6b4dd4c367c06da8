// Allocator and lock functions that stand in front of the C library's in every test program.

#include "tests/support/RealtimeGuardInternal.h"

#if BRAQ_REALTIME_GUARD

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>

#include <cerrno>
#include <cstddef>

using braq::tests::refuseInRealtimeScope;

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) {
    refuseInRealtimeScope("malloc");
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    refuseInRealtimeScope("calloc");
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
    refuseInRealtimeScope("realloc");
    return __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    refuseInRealtimeScope("memalign");
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    refuseInRealtimeScope("aligned_alloc");
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    refuseInRealtimeScope("posix_memalign");
    *block = __libc_memalign(alignment, size);
    return *block != nullptr ? 0 : ENOMEM;
}

void free(void* block) {
    refuseInRealtimeScope("free");
    __libc_free(block);
}
}

namespace {

template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// Each forwards to the function of that name in the C library.
#define BRAQ_REFUSE(name, parameters, arguments)                                                                       \
    extern "C" int name parameters {                                                                                   \
        refuseInRealtimeScope(#name);                                                                                  \
        static const auto original = next<int(*) parameters>(#name);                                                   \
        return original arguments;                                                                                     \
    }

BRAQ_REFUSE(pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
BRAQ_REFUSE(pthread_mutex_trylock, (pthread_mutex_t * mutex), (mutex))
BRAQ_REFUSE(pthread_mutex_timedlock, (pthread_mutex_t * mutex, const timespec* time), (mutex, time))
BRAQ_REFUSE(pthread_rwlock_rdlock, (pthread_rwlock_t * lock), (lock))
BRAQ_REFUSE(pthread_rwlock_wrlock, (pthread_rwlock_t * lock), (lock))
BRAQ_REFUSE(pthread_spin_lock, (pthread_spinlock_t * lock), (lock))
BRAQ_REFUSE(pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex), (condition, mutex))
BRAQ_REFUSE(pthread_cond_timedwait, (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* time),
            (condition, mutex, time))
BRAQ_REFUSE(pthread_cond_clockwait,
            (pthread_cond_t * condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* time),
            (condition, mutex, clock, time))
BRAQ_REFUSE(sem_wait, (sem_t * semaphore), (semaphore))

namespace braq::tests {

bool interposersAreLinked() noexcept {
    return dlsym(RTLD_DEFAULT, "malloc") == reinterpret_cast<void*>(&malloc) &&
           dlsym(RTLD_DEFAULT, "pthread_mutex_lock") == reinterpret_cast<void*>(&pthread_mutex_lock);
}

} // namespace braq::tests

#else

namespace braq::tests {

bool interposersAreLinked() noexcept { return false; }

} // namespace braq::tests

#endif
