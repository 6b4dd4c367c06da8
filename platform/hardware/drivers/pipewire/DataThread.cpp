#include "platform/hardware/drivers/pipewire/DataThread.h"

#include "platform/hardware/drivers/pipewire/Headers.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace braq::pipewire {
namespace {

constexpr std::chrono::microseconds threadLookInterval{50};

// The key under which a context keeps the loop.
constexpr const char* loopObject = "BRAQ:DataLoop";

// If a loop is told to stop just as its thread enters it, it misses that, and the wait for its end never returns. Until
// the thread has entered the loop, PipeWire runs invoked functions on the caller.
void waitUntilEntered(pw_data_loop* loop) {
    const std::thread::id caller = std::this_thread::get_id();
    std::thread::id runner = caller;
    const auto look = [](spa_loop* /*loop*/, bool /*isAsync*/, uint32_t /*sequence*/, const void* /*data*/,
                         size_t /*size*/, void* result) {
        *static_cast<std::thread::id*>(result) = std::this_thread::get_id();
        return 0;
    };
    while (pw_data_loop_invoke(loop, look, 0, nullptr, 0, true, &runner) >= 0 && runner == caller) {
        std::this_thread::sleep_for(threadLookInterval);
    }
}

} // namespace

DataThread::DataThread() {
    // The library handles scheduling; the thread never ends, so nothing waits for its end.
    static const spa_thread_utils_methods methods = {
        .version = SPA_VERSION_THREAD_UTILS_METHODS,
        .create = [](void* self, const spa_dict* /*properties*/, void* (*body)(void*),
                     void* argument) { return static_cast<DataThread*>(self)->start(body, argument); },
        .join = [](void* /*self*/, spa_thread* /*thread*/, void** /*result*/) { return -ENOTSUP; },
        .get_rt_range = [](void* /*self*/, const spa_dict* /*properties*/, int* /*lowest*/,
                           int* /*highest*/) { return -ENOTSUP; },
        .acquire_rt = [](void* /*self*/, spa_thread* /*thread*/, int /*priority*/) { return 0; },
        .drop_rt = [](void* /*self*/, spa_thread* /*thread*/) { return 0; },
    };
    mThreadMaker.iface = {SPA_TYPE_INTERFACE_ThreadUtils, SPA_VERSION_THREAD_UTILS, {&methods, this}};
}

// A context comes with a running thread; the source of the next one can be set only while it is stopped.
bool DataThread::replaceThatOf(pw_context* context) {
    pw_data_loop* const loop = pw_context_get_data_loop(context);
    waitUntilEntered(loop);
    pw_data_loop_stop(loop);
    pw_data_loop_set_thread_utils(loop, &mThreadMaker);
    return pw_data_loop_start(loop) >= 0 && pw_context_set_object(context, loopObject, loop) >= 0;
}

pw_data_loop* DataThread::loopOf(pw_context* context) {
    return static_cast<pw_data_loop*>(pw_context_get_object(context, loopObject));
}

const char* DataThread::nameOfLoopOf([[maybe_unused]] pw_context* context) {
#if PW_CHECK_VERSION(1, 1, 0)
    return pw_data_loop_get_name(loopOf(context));
#else
    return nullptr;
#endif
}

spa_thread* DataThread::start(void* (*body)(void*), void* argument) {
    mBody = body;
    mArgument = argument;
    const int status = BRAQThreadStart(
        &mThread, "BRAQ pw I/O",
        [](void* self) {
            auto& thread = *static_cast<DataThread*>(self);
            thread.mBody(thread.mArgument);
        },
        this);
    if (status != 0) {
        errno = status;
        return nullptr;
    }
    // PipeWire's thread type is the C library's handle.
    return reinterpret_cast<spa_thread*>(mThread.mThread);
}

void DataThread::makeIO() {
    if (!std::exchange(mIsIO, true)) {
        BRAQThreadMakeIO(mThread.mPort);
    }
}

} // namespace braq::pipewire
