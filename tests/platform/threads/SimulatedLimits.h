#pragma once

#include "tests/platform/threads/Sandbox.h"

namespace threads_test {

/// From now on the scheduling calls of this program obey `limits` by the kernel's own rules, as if the process had no
/// privilege. For machines on which the true limits cannot be raised to show what they do. What the rules let through
/// is carried out by the kernel, so that the process needs the privilege. Called while no other thread uses the calls.
void simulateLimits(Limits limits);

/// As if the process had these limits and a privilege that frees it from them.
void simulateLimitsThatDoNotBind(Limits limits);

} // namespace threads_test
