#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BRAQ_REALTIME_GUARD 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define BRAQ_REALTIME_GUARD 0
#endif
#endif
#if !defined(BRAQ_REALTIME_GUARD)
#define BRAQ_REALTIME_GUARD 1
#endif

#include <cstddef>

namespace braq::tests {

/// Whether the calling thread is in a marked scope.
bool inRealtimeScope() noexcept;

/// Prints what was done and the stack, and ends the process, if the calling thread is in a marked scope.
void refuseInRealtimeScope(const char* what) noexcept;

/// Whether the allocator and lock functions of this program are the interposed ones.
bool interposersAreLinked() noexcept;

constexpr std::size_t signalStackBytes = std::size_t{64} * 1024;

/// Puts the system-call filter on the calling thread, for good. Nothing where this processor's filter is not written.
/// @param signalStack `signalStackBytes` of memory that outlive the thread
void filterSystemCalls(void* signalStack);

} // namespace braq::tests
