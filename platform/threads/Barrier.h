#pragma once

namespace braq {

/// Registers for `BRAQThreadBarrierAll` if that is free, which it is as long as the process has one thread. With more
/// threads the system waits for every processor: milliseconds that the first ring would cost.
void prepareBarrierWhileFree() noexcept;

} // namespace braq
