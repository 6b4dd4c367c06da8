#include "platform/hardware/drivers/pipewire/Loop.h"

#include "BRAQAudio/platform/threads.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <utility>

namespace braq::pipewire {
namespace {

/// What a thread that PipeWire starts for such a loop does; that one would have the process's usual stack and its creator's
/// scheduling. PipeWire's calls have the lock released while there is nothing to do.
void run(void* loop) {
    auto* const self = static_cast<pw_thread_loop*>(loop);
    pw_thread_loop_lock(self);
    pw_loop* const events = pw_thread_loop_get_loop(self);
    pw_loop_enter(events);
    int result = 0;
    while (result >= 0 || result == -EINTR) {
        result = pw_loop_iterate(events, -1);
    }
    pw_loop_leave(events);
    pw_thread_loop_unlock(self);
}

} // namespace

Loop::Loop() {
    pw_init(nullptr, nullptr);
    mLoop = pw_thread_loop_new("BRAQ pipewire", nullptr);
    BRAQThread thread{};
    if (mLoop == nullptr || BRAQThreadStart(&thread, "BRAQ pipewire", run, mLoop) != 0) {
        throw std::runtime_error("PipeWire's loop does not start");
    }
}

pw_loop* Loop::get() const { return pw_thread_loop_get_loop(mLoop); }

Loop::Lock::Lock(Loop& loop) : mLoop(loop) { pw_thread_loop_lock(mLoop.mLoop); }
Loop::Lock::~Lock() { pw_thread_loop_unlock(mLoop.mLoop); }

bool Loop::waitFor(std::chrono::nanoseconds longest, const std::function<bool()>& condition) {
    timespec deadline{};
    pw_thread_loop_get_time(mLoop, &deadline, longest.count());
    while (!condition()) {
        if (pw_thread_loop_timed_wait_full(mLoop, &deadline) != 0) {
            return condition();
        }
    }
    return true;
}

void Loop::conditionsChanged() { pw_thread_loop_signal(mLoop, false); }

LoopEvent::LoopEvent(Loop& loop, std::function<void()> action) : mLoop(loop), mAction(std::move(action)) {
    mSource = pw_loop_add_event(
        mLoop.get(), [](void* self, uint64_t /*count*/) { static_cast<LoopEvent*>(self)->mAction(); }, this);
}

LoopEvent::~LoopEvent() { pw_loop_destroy_source(mLoop.get(), mSource); }

void LoopEvent::signal() noexcept { pw_loop_signal_event(mLoop.get(), mSource); }

LoopTimer::LoopTimer(Loop& loop, std::function<void()> action) : mLoop(loop), mAction(std::move(action)) {
    mSource = pw_loop_add_timer(
        mLoop.get(), [](void* self, uint64_t /*count*/) { static_cast<LoopTimer*>(self)->mAction(); }, this);
}

LoopTimer::~LoopTimer() { pw_loop_destroy_source(mLoop.get(), mSource); }

void LoopTimer::fireAfter(std::chrono::milliseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec value{};
    value.tv_sec = seconds.count();
    value.tv_nsec = std::chrono::nanoseconds(time - seconds).count();
    pw_loop_update_timer(mLoop.get(), mSource, &value, nullptr, false);
}

} // namespace braq::pipewire
