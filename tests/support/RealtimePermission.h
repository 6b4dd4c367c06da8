#pragma once

namespace braq::tests {

/// Whether this process may put threads on real-time scheduling at every priority. A test that needs it and may not
/// reports itself as not shown.
bool mayUseRealtimeScheduling();

} // namespace braq::tests
