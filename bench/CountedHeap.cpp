// Allocator functions that stand in front of the C library's and count.

#include "bench/CountedHeap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {

std::atomic<std::size_t> bytesHeld{0};
// Not made on first use, which could allocate.
constinit thread_local braq::bench::HeapUse heapUse{};

std::size_t bytesOf(void* block) { return block == nullptr ? 0 : malloc_usable_size(block) + sizeof(std::size_t); }

void* counted(void* block) {
    if (block != nullptr) {
        ++heapUse.allocations;
        bytesHeld.fetch_add(bytesOf(block), std::memory_order_relaxed);
    }
    return block;
}

void uncount(void* block) {
    if (block != nullptr) {
        ++heapUse.frees;
        bytesHeld.fetch_sub(bytesOf(block), std::memory_order_relaxed);
    }
}

} // namespace

extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* block);

void* malloc(std::size_t bytes) noexcept { return counted(__libc_malloc(bytes)); }

void* calloc(std::size_t count, std::size_t bytes) noexcept { return counted(__libc_calloc(count, bytes)); }

void* realloc(void* block, std::size_t bytes) noexcept {
    const std::size_t before = bytesOf(block);
    void* const moved = __libc_realloc(block, bytes);
    if (moved != nullptr) {
        bytesHeld.fetch_sub(before, std::memory_order_relaxed);
        counted(moved);
    }
    return moved;
}

void* memalign(std::size_t alignment, std::size_t bytes) noexcept { return counted(__libc_memalign(alignment, bytes)); }

void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept { return memalign(alignment, bytes); }

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
    *block = memalign(alignment, bytes);
    return *block != nullptr ? 0 : ENOMEM;
}

void free(void* block) noexcept {
    uncount(block);
    __libc_free(block);
}
}

namespace braq::bench {

const HeapUse& heapUseOfThisThread() { return heapUse; }

std::size_t heapBytes() { return bytesHeld.load(std::memory_order_relaxed); }

} // namespace braq::bench
