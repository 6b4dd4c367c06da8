#pragma once

#include "BRAQAudio/platform/threads.h"

#include <spa/support/thread.h>

struct pw_context;
struct pw_data_loop;

namespace braq::pipewire {

/// The thread on which PipeWire runs the cycles of streams: a thread of the library instead of PipeWire's own, whose
/// stack and scheduling would be the process's. It is set for one context; other users of PipeWire in the process get
/// their threads as usual. Lives as long as the process.
class DataThread {
  public:
    DataThread();
    DataThread(const DataThread&) = delete;
    DataThread& operator=(const DataThread&) = delete;

    /// Makes the context's cycles run here from now on. Call it before the context has any.
    /// @return false if the system refuses a thread
    [[nodiscard]] bool replaceThatOf(pw_context* context);

    /// The loop of the context whose thread was replaced; one of several if the user's configuration asks for several.
    static pw_data_loop* loopOf(pw_context* context);

    /// Pattern for the name of that loop, which makes a stream run on it (`node.loop.name`); null if a context has only
    /// one.
    static const char* nameOfLoopOf(pw_context* context);

    /// Gives the thread the priority of an I/O thread, on the first call.
    void makeIO();

  private:
    spa_thread* start(void* (*body)(void*), void* argument);

    spa_thread_utils mThreadMaker{};
    void* (*mBody)(void*) = nullptr;
    void* mArgument = nullptr;
    BRAQThread mThread{};
    bool mIsIO = false;
};

} // namespace braq::pipewire
