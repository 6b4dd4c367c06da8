#include "tests/src/HardwareHook.h"

#include <algorithm>
#include <mutex>
#include <utility>

// The linker has every call that leaves a file of the library end at __wrap_NAME; __real_NAME is the function itself.

namespace {

using namespace braq::testing;

struct Hooked {
    const HardwareHook* owner;
    HardwareCall call;
    AudioObjectID object;
    UInt32 selector;
    std::function<OSStatus(AudioObjectID&)> hook;
};

std::mutex mutex;
std::vector<Hooked> hooks;                                  // under the mutex
bool listenerCallsAreKept = false;                          // under the mutex
std::vector<braq::testing::ListenerCall> keptListenerCalls; // under the mutex

OSStatus runHook(HardwareCall call, AudioObjectID& object, UInt32 selector) {
    std::function<OSStatus(AudioObjectID&)> hook;
    {
        const std::lock_guard lock(mutex);
        const auto found = std::ranges::find_if(hooks, [&](const Hooked& hooked) {
            return hooked.call == call && hooked.object == object && hooked.selector == selector;
        });
        if (found != hooks.end()) {
            hook = found->hook;
        }
    }
    return hook ? hook(object) : 0;
}

void keep(const ListenerCall& call) {
    const std::lock_guard lock(mutex);
    if (listenerCallsAreKept) {
        keptListenerCalls.push_back(call);
    }
}

} // namespace

HardwareHook::HardwareHook(HardwareCall call, AudioObjectID object, UInt32 selector,
                           std::function<OSStatus(AudioObjectID&)> hook) {
    const std::lock_guard lock(mutex);
    hooks.push_back({this, call, object, selector, std::move(hook)});
}

HardwareHook::~HardwareHook() {
    const std::lock_guard lock(mutex);
    std::erase_if(hooks, [this](const Hooked& hooked) { return hooked.owner == this; });
}

ListenerCalls::ListenerCalls() {
    const std::lock_guard lock(mutex);
    listenerCallsAreKept = true;
}

ListenerCalls::~ListenerCalls() {
    const std::lock_guard lock(mutex);
    listenerCallsAreKept = false;
    keptListenerCalls.clear();
}

std::vector<ListenerCall> ListenerCalls::take() {
    const std::lock_guard lock(mutex);
    return std::exchange(keptListenerCalls, {});
}

extern "C" {

decltype(AudioObjectGetPropertyDataSize) __real_AudioObjectGetPropertyDataSize, __wrap_AudioObjectGetPropertyDataSize;
decltype(AudioObjectGetPropertyData) __real_AudioObjectGetPropertyData, __wrap_AudioObjectGetPropertyData;
decltype(AudioObjectAddPropertyListener) __real_AudioObjectAddPropertyListener, __wrap_AudioObjectAddPropertyListener;
decltype(AudioObjectRemovePropertyListener) __real_AudioObjectRemovePropertyListener,
    __wrap_AudioObjectRemovePropertyListener;

OSStatus __wrap_AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                               UInt32 qualifierSize, const void* qualifier, UInt32* size) {
    const OSStatus status = runHook(HardwareCall::getSize, object, address->mSelector);
    return status != 0 ? status
                       : __real_AudioObjectGetPropertyDataSize(object, address, qualifierSize, qualifier, size);
}

OSStatus __wrap_AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                           UInt32 qualifierSize, const void* qualifier, UInt32* size, void* data) {
    const OSStatus status = runHook(HardwareCall::getData, object, address->mSelector);
    return status != 0 ? status
                       : __real_AudioObjectGetPropertyData(object, address, qualifierSize, qualifier, size, data);
}

OSStatus __wrap_AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                               AudioObjectPropertyListenerProc listener, void* clientData) {
    keep({HardwareCall::addListener, object, *address, listener, clientData});
    const OSStatus status = runHook(HardwareCall::addListener, object, address->mSelector);
    return status != 0 ? status : __real_AudioObjectAddPropertyListener(object, address, listener, clientData);
}

OSStatus __wrap_AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                                  AudioObjectPropertyListenerProc listener, void* clientData) {
    keep({HardwareCall::removeListener, object, *address, listener, clientData});
    const OSStatus status = runHook(HardwareCall::removeListener, object, address->mSelector);
    return status != 0 ? status : __real_AudioObjectRemovePropertyListener(object, address, listener, clientData);
}
}
