#pragma once

namespace braq {

/// Has the system prepare for `BRAQThreadBarrierAll` if that is free, which it is as long as the process has one thread:
/// with more of them the system waits until every processor has come past it, milliseconds that the first ring would cost.
void prepareBarrierWhileFree() noexcept;

} // namespace braq
