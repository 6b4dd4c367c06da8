#include "platform/hardware/drivers/pipewire/Loop.h"

#include "BRAQAudio/platform/threads.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <ctime>
#include <future>
#include <memory>
#include <stdexcept>
#include <utility>

namespace braq::pipewire {
namespace {

struct Start {
    pw_thread_loop* loop;
    std::promise<int> result;
};

/// Starts the loop's thread. It inherits blocked signals and time-shared scheduling from the thread that starts it: a
/// thread of the library, because an application's thread may have others. PipeWire runs and locks the loop.
int startOnThreadOfTheLibrary(pw_thread_loop* loop) {
    auto start = std::make_unique<Start>(Start{loop, {}});
    std::future<int> result = start->result.get_future();
    BRAQThread thread{};
    const int status = BRAQThreadStart(
        &thread, "BRAQ starter",
        [](void* argument) {
            const std::unique_ptr<Start> mine(static_cast<Start*>(argument));
            mine->result.set_value(pw_thread_loop_start(mine->loop));
        },
        start.get());
    if (status != 0) {
        return -status;
    }
    static_cast<void>(start.release()); // owned by the thread
    return result.get();
}

} // namespace

Loop::Loop() {
    pw_init(nullptr, nullptr);
    mLoop = pw_thread_loop_new("BRAQ pipewire", nullptr);
    if (mLoop == nullptr || startOnThreadOfTheLibrary(mLoop) < 0) {
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
