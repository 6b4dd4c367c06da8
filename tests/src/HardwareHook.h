#pragma once

#include "BRAQAudio/platform/hardware.h"

#include <functional>
#include <vector>

namespace braq::tests {

enum class HardwareCall { getSize, getData, addListener, removeListener };

/// While it lives, one kind of call of the library on one property of one object goes through here first. Calls of the
/// platform among its own files do not.
class HardwareHook {
  public:
    /// @param hook called before each such call; it may have the call made on another object. If it answers another status
    ///        than 0, the caller gets that and the call is not made.
    HardwareHook(HardwareCall call, AudioObjectID object, UInt32 selector,
                 std::function<OSStatus(AudioObjectID&)> hook);
    /// Has each such call fail with `status`.
    HardwareHook(HardwareCall call, AudioObjectID object, UInt32 selector, OSStatus status)
        : HardwareHook(call, object, selector, [status](AudioObjectID&) { return status; }) {}
    ~HardwareHook();
    HardwareHook(const HardwareHook&) = delete;
    HardwareHook& operator=(const HardwareHook&) = delete;
};

/// A call that added or removed a listener.
struct ListenerCall {
    HardwareCall call;
    AudioObjectID object;
    AudioObjectPropertyAddress address;
    AudioObjectPropertyListenerProc listener;
    void* clientData;
};

/// The calls that add and remove listeners while it lives.
class ListenerCalls {
  public:
    ListenerCalls();
    ~ListenerCalls();
    ListenerCalls(const ListenerCalls&) = delete;
    ListenerCalls& operator=(const ListenerCalls&) = delete;

    /// Those since the last time that this was called.
    std::vector<ListenerCall> take();
};

} // namespace braq::tests
