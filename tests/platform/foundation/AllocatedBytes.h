#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define BRAQ_TEST_SANITIZER_ALLOCATES
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BRAQ_TEST_SANITIZER_ALLOCATES
#endif

#ifdef BRAQ_TEST_SANITIZER_ALLOCATES
// Declared here because GCC ships the sanitizers without their headers.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
inline std::size_t allocatedBytes() { return __sanitizer_get_current_allocated_bytes(); }
#else
#include <malloc.h>
/// Bytes that the process has allocated and not freed.
inline std::size_t allocatedBytes() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}
#endif
