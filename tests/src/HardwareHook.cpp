#include "tests/src/HardwareHook.h"

#include <algorithm>
#include <mutex>
#include <utility>

// The linker has every call that leaves a file of the library end at __wrap_NAME; __real_NAME is the function itself.

namespace {

using namespace braq::tests;

struct HookedProperty {
    const HardwareHook* owner;
    HardwareCall call;
    AudioObjectID object;
    UInt32 selector;
    std::function<OSStatus(AudioObjectID&)> hook;
};

std::mutex propertyMutex;
std::vector<HookedProperty> propertyHooks;                // under the propertyMutex
bool listenerCallsAreKept = false;                        // under the propertyMutex
std::vector<braq::tests::ListenerCall> keptListenerCalls; // under the propertyMutex

OSStatus runHook(HardwareCall call, AudioObjectID& object, UInt32 selector) {
    std::function<OSStatus(AudioObjectID&)> hook;
    {
        const std::lock_guard lock(propertyMutex);
        const auto found = std::ranges::find_if(propertyHooks, [&](const HookedProperty& hooked) {
            return hooked.call == call && hooked.object == object && hooked.selector == selector;
        });
        if (found != propertyHooks.end()) {
            hook = found->hook;
        }
    }
    return hook ? hook(object) : 0;
}

void keep(const ListenerCall& call) {
    const std::lock_guard lock(propertyMutex);
    if (listenerCallsAreKept) {
        keptListenerCalls.push_back(call);
    }
}

} // namespace

HardwareHook::HardwareHook(HardwareCall call, AudioObjectID object, UInt32 selector,
                           std::function<OSStatus(AudioObjectID&)> hook) {
    const std::lock_guard lock(propertyMutex);
    propertyHooks.push_back({this, call, object, selector, std::move(hook)});
}

HardwareHook::~HardwareHook() {
    const std::lock_guard lock(propertyMutex);
    std::erase_if(propertyHooks, [this](const HookedProperty& hooked) { return hooked.owner == this; });
}

ListenerCalls::ListenerCalls() {
    const std::lock_guard lock(propertyMutex);
    listenerCallsAreKept = true;
}

ListenerCalls::~ListenerCalls() {
    const std::lock_guard lock(propertyMutex);
    listenerCallsAreKept = false;
    keptListenerCalls.clear();
}

std::vector<ListenerCall> ListenerCalls::take() {
    const std::lock_guard lock(propertyMutex);
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
