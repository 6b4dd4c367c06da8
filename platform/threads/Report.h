#pragma once

#include "BRAQAudio/platform/threads.h"

#include <string>

namespace braq {

/// The purpose of a thread of the library, for its scheduling.
enum class ThreadKind { worker, io };

/// Logs how `thread` is scheduled, once per kind and process; `explanation` is appended unless empty. Logs nothing
/// about a thread that has ended. Any thread but an I/O thread.
void reportOnce(ThreadKind kind, thread_act_t thread, const std::string& explanation = {});

} // namespace braq
