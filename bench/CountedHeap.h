#pragma once

#include <cstddef>

namespace braq::bench {

/// What one thread has done with the heap so far.
struct HeapUse {
    std::size_t allocations;
    std::size_t frees;
};

/// Of the calling thread. Lives as long as the thread; other threads read it only while this one is idle.
const HeapUse& heapUseOfThisThread();

/// What the heap's blocks that all threads hold take, the heap's own bookkeeping included.
std::size_t heapBytes();

} // namespace braq::bench
