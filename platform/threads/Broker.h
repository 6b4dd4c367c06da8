#pragma once

#include "BRAQAudio/platform/threads.h"

// Asks the system's real-time scheduling service (rtkit, in a sandbox the desktop portal) on behalf of threads that
// this process may not raise itself. The requests are made on a background thread that exists only while there are any;
// callers never wait for the service. The result is logged.

namespace braq {

/// Requests the lowest nice value that the service grants, never a real-time policy: its limit on processor time may
/// end a process whose worker decodes for long.
void askForHighPriority(thread_act_t thread);

/// Requests a real-time policy at `BRAQThreadIOPriority`, or the highest that the service grants.
void askForRealtime(thread_act_t thread);

} // namespace braq
