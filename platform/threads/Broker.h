#pragma once

#include "BRAQAudio/platform/threads.h"

// Asks the system's real-time scheduling service (rtkit, in a sandbox the desktop portal) on behalf of threads that this
// process may not raise itself.
// The asking is done on a background thread that exists only while there is something to ask; the callers never wait
// for the service. What came of it is reported.

namespace braq {

/// Asks for the lowest nice value that the service gives, never for a real-time policy: the processor-time limit that
/// comes with one may end a process whose worker decodes long.
void askForHighPriority(thread_act_t thread);

/// Asks for a real-time policy at `BRAQThreadIOPriority`, or the highest that the service gives.
void askForRealtime(thread_act_t thread);

} // namespace braq
