#include "tests/src/UnitCalls.h"

#include <algorithm>
#include <iterator>
#include <utility>

// The linker has every call that leaves a file of the library end at __wrap_NAME; __real_NAME is the function itself.

namespace {

using braq::tests::UnitCall;
using braq::tests::UnitCalls;

thread_local UnitCalls* watching = nullptr; // no-one while the platform is at work, or nobody asked

std::vector<std::byte> bytesAt(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::byte*>(data);
    return bytes != nullptr ? std::vector<std::byte>(bytes, bytes + size) : std::vector<std::byte>();
}

template <class Record>
std::vector<std::byte> bytesOf(const Record* record) {
    return bytesAt(record, sizeof(Record));
}

/// Makes the call, unless it is to fail. What it calls in turn is not seen.
template <class Answer, class Call>
Answer make(UnitCall seen, Call call) {
    UnitCalls* const watcher = std::exchange(watching, nullptr);
    Answer answer{};
    if (watcher == nullptr || !watcher->take(std::move(seen))) {
        answer = call();
    } else if constexpr (std::is_same_v<Answer, OSStatus>) {
        answer = watcher->status();
    }
    watching = watcher;
    return answer;
}

} // namespace

UnitCalls::UnitCalls(std::optional<std::size_t> failing, OSStatus status) : mFailing(failing), mStatus(status) {
    watching = this;
}

UnitCalls::~UnitCalls() { watching = nullptr; }

bool UnitCalls::take(UnitCall call) {
    mCalls.push_back(std::move(call));
    if (beforeCall) {
        beforeCall(mCalls.back());
    }
    return mFailing == mCalls.size() - 1;
}

std::vector<std::string> UnitCalls::functions() const {
    std::vector<std::string> names;
    std::ranges::transform(mCalls, std::back_inserter(names), &UnitCall::function);
    return names;
}

extern "C" {

AudioComponent __real_AudioComponentFindNext(AudioComponent after, const AudioComponentDescription* description);
AudioComponent __wrap_AudioComponentFindNext(AudioComponent after, const AudioComponentDescription* description) {
    return make<AudioComponent>({"AudioComponentFindNext", 0, 0, 0, bytesOf(description)},
                                [&] { return __real_AudioComponentFindNext(after, description); });
}

OSStatus __real_AudioComponentInstanceNew(AudioComponent component, AudioComponentInstance* instance);
OSStatus __wrap_AudioComponentInstanceNew(AudioComponent component, AudioComponentInstance* instance) {
    return make<OSStatus>({"AudioComponentInstanceNew"},
                          [&] { return __real_AudioComponentInstanceNew(component, instance); });
}

OSStatus __real_AudioUnitInitialize(AudioUnit unit);
OSStatus __wrap_AudioUnitInitialize(AudioUnit unit) {
    return make<OSStatus>({"AudioUnitInitialize"}, [&] { return __real_AudioUnitInitialize(unit); });
}

OSStatus __real_AudioUnitUninitialize(AudioUnit unit);
OSStatus __wrap_AudioUnitUninitialize(AudioUnit unit) {
    return make<OSStatus>({"AudioUnitUninitialize"}, [&] { return __real_AudioUnitUninitialize(unit); });
}

OSStatus __real_AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                     AudioUnitElement element, void* data, UInt32* size);
OSStatus __wrap_AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                     AudioUnitElement element, void* data, UInt32* size) {
    return make<OSStatus>({"AudioUnitGetProperty", property, scope, element},
                          [&] { return __real_AudioUnitGetProperty(unit, property, scope, element, data, size); });
}

OSStatus __real_AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                     AudioUnitElement element, const void* data, UInt32 size);
OSStatus __wrap_AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                                     AudioUnitElement element, const void* data, UInt32 size) {
    return make<OSStatus>({"AudioUnitSetProperty", property, scope, element, bytesAt(data, size)},
                          [&] { return __real_AudioUnitSetProperty(unit, property, scope, element, data, size); });
}

OSStatus __real_AudioUnitAddPropertyListener(AudioUnit unit, AudioUnitPropertyID property,
                                             AudioUnitPropertyListenerProc listener, void* refCon);
OSStatus __wrap_AudioUnitAddPropertyListener(AudioUnit unit, AudioUnitPropertyID property,
                                             AudioUnitPropertyListenerProc listener, void* refCon) {
    return make<OSStatus>({"AudioUnitAddPropertyListener", property},
                          [&] { return __real_AudioUnitAddPropertyListener(unit, property, listener, refCon); });
}

OSStatus __real_AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                      AudioUnitElement element, AudioUnitParameterValue* value);
OSStatus __wrap_AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                      AudioUnitElement element, AudioUnitParameterValue* value) {
    return make<OSStatus>({"AudioUnitGetParameter", parameter, scope, element},
                          [&] { return __real_AudioUnitGetParameter(unit, parameter, scope, element, value); });
}

OSStatus __real_AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                      AudioUnitElement element, AudioUnitParameterValue value, UInt32 offset);
OSStatus __wrap_AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                                      AudioUnitElement element, AudioUnitParameterValue value, UInt32 offset) {
    return make<OSStatus>({"AudioUnitSetParameter", parameter, scope, element, bytesOf(&value)},
                          [&] { return __real_AudioUnitSetParameter(unit, parameter, scope, element, value, offset); });
}

OSStatus __real_AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                UInt32 element, UInt32 frames, AudioBufferList* list);
OSStatus __wrap_AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                                UInt32 element, UInt32 frames, AudioBufferList* list) {
    return make<OSStatus>({"AudioUnitRender", frames, 0, element},
                          [&] { return __real_AudioUnitRender(unit, flags, time, element, frames, list); });
}

OSStatus __real_AudioOutputUnitStart(AudioUnit unit);
OSStatus __wrap_AudioOutputUnitStart(AudioUnit unit) {
    return make<OSStatus>({"AudioOutputUnitStart"}, [&] { return __real_AudioOutputUnitStart(unit); });
}

OSStatus __real_AudioOutputUnitStop(AudioUnit unit);
OSStatus __wrap_AudioOutputUnitStop(AudioUnit unit) {
    return make<OSStatus>({"AudioOutputUnitStop"}, [&] { return __real_AudioOutputUnitStop(unit); });
}

OSStatus __real_NewAUGraph(AUGraph* graph);
OSStatus __wrap_NewAUGraph(AUGraph* graph) {
    return make<OSStatus>({"NewAUGraph"}, [&] { return __real_NewAUGraph(graph); });
}

OSStatus __real_DisposeAUGraph(AUGraph graph);
OSStatus __wrap_DisposeAUGraph(AUGraph graph) {
    return make<OSStatus>({"DisposeAUGraph"}, [&] { return __real_DisposeAUGraph(graph); });
}

OSStatus __real_AUGraphOpen(AUGraph graph);
OSStatus __wrap_AUGraphOpen(AUGraph graph) {
    return make<OSStatus>({"AUGraphOpen"}, [&] { return __real_AUGraphOpen(graph); });
}

OSStatus __real_AUGraphClose(AUGraph graph);
OSStatus __wrap_AUGraphClose(AUGraph graph) {
    return make<OSStatus>({"AUGraphClose"}, [&] { return __real_AUGraphClose(graph); });
}

OSStatus __real_AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description, AUNode* node);
OSStatus __wrap_AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description, AUNode* node) {
    return make<OSStatus>({"AUGraphAddNode", 0, 0, 0, bytesOf(description)},
                          [&] { return __real_AUGraphAddNode(graph, description, node); });
}

OSStatus __real_AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* description, AudioUnit* unit);
OSStatus __wrap_AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* description, AudioUnit* unit) {
    return make<OSStatus>({"AUGraphNodeInfo", static_cast<UInt32>(node)},
                          [&] { return __real_AUGraphNodeInfo(graph, node, description, unit); });
}

OSStatus __real_AUGraphConnectNodeInput(AUGraph graph, AUNode source, UInt32 sourceOutput, AUNode destination,
                                        UInt32 destinationInput);
OSStatus __wrap_AUGraphConnectNodeInput(AUGraph graph, AUNode source, UInt32 sourceOutput, AUNode destination,
                                        UInt32 destinationInput) {
    return make<OSStatus>({"AUGraphConnectNodeInput"}, [&] {
        return __real_AUGraphConnectNodeInput(graph, source, sourceOutput, destination, destinationInput);
    });
}

OSStatus __real_AUGraphInitialize(AUGraph graph);
OSStatus __wrap_AUGraphInitialize(AUGraph graph) {
    return make<OSStatus>({"AUGraphInitialize"}, [&] { return __real_AUGraphInitialize(graph); });
}

OSStatus __real_AUGraphUninitialize(AUGraph graph);
OSStatus __wrap_AUGraphUninitialize(AUGraph graph) {
    return make<OSStatus>({"AUGraphUninitialize"}, [&] { return __real_AUGraphUninitialize(graph); });
}

OSStatus __real_AUGraphStart(AUGraph graph);
OSStatus __wrap_AUGraphStart(AUGraph graph) {
    return make<OSStatus>({"AUGraphStart"}, [&] { return __real_AUGraphStart(graph); });
}

OSStatus __real_AUGraphStop(AUGraph graph);
OSStatus __wrap_AUGraphStop(AUGraph graph) {
    return make<OSStatus>({"AUGraphStop"}, [&] { return __real_AUGraphStop(graph); });
}

} // extern "C"
