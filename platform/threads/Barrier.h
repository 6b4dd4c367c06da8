#pragma once

namespace braq {

/// Registers for `passBarrierOnAllThreads` if that is free, which it is as long as the process has one thread. With more
/// threads the system waits for every processor: milliseconds that the first ring would cost.
void prepareBarrierWhileFree() noexcept;

/// Whether the system lets this process use `passBarrierOnAllThreads`. The first call registers for it, which may take
/// milliseconds; forked processes inherit the result. Always false under the thread sanitizer, which does not know what
/// such a barrier orders. Any thread but an I/O thread.
bool canPassBarrierOnAllThreads() noexcept;

/// Returns when every thread of the process has passed a memory barrier: if such a thread makes two plain accesses in
/// order, no processor has done only the second. Interrupts the other processors for about a microsecond.
/// @return false if the system refuses
/// Any thread but an I/O thread.
bool passBarrierOnAllThreads() noexcept;

} // namespace braq
