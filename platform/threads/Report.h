#pragma once

#include "BRAQAudio/platform/threads.h"

#include <string>

namespace braq {

/// What a thread of the library is for, as far as scheduling is concerned.
enum class ThreadKind { worker, io };

/// Says in the log how `thread` is scheduled, the first time for each kind in the life of the process; `explanation` is
/// appended unless empty. Says nothing about a thread that is gone. Any thread but an I/O thread.
void reportOnce(ThreadKind kind, thread_act_t thread, const std::string& explanation = {});

} // namespace braq
