#include "BRAQAudio/platform/units.h"

#include "platform/hardware/DeviceProcedures.h"
#include "platform/units/UnitTable.h"

using braq::Unit;
using braq::UnitTable;

namespace {

/// Runs `work` on a valid unit, on a thread that may wait.
template <class Work>
OSStatus onUnit(AudioUnit reference, Work work) {
    if (!UnitTable::instance().contains(reference)) {
        return kAudio_ParamError;
    }
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    const auto unit = UnitTable::instance().find(reference);
    return unit != nullptr ? work(*unit) : kAudio_ParamError;
}

/// The same on any thread, without waiting.
template <class Work>
OSStatus onRenderedUnit(AudioUnit reference, Work work) {
    const UnitTable::Use use(reference);
    return use.unit() != nullptr ? work(*use.unit()) : kAudio_ParamError;
}

} // namespace

OSStatus AudioUnitInitialize(AudioUnit unit) {
    return onUnit(unit, [](Unit& of) { return of.initialize(); });
}

OSStatus AudioUnitUninitialize(AudioUnit unit) {
    return onUnit(unit, [](Unit& of) { return of.uninitialize(); });
}

OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, void* data, UInt32* size) {
    return onUnit(unit, [&](Unit& of) { return of.property({property, scope, element}, data, size); });
}

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, const void* data, UInt32 size) {
    return onUnit(unit, [&](Unit& of) { return of.setProperty({property, scope, element}, data, size); });
}

OSStatus AudioUnitAddPropertyListener(AudioUnit unit, AudioUnitPropertyID property,
                                      AudioUnitPropertyListenerProc listener, void* refCon) {
    return onUnit(unit, [&](Unit& of) -> OSStatus {
        if (listener == nullptr) {
            return kAudio_ParamError;
        }
        of.listeners().add(property, listener, refCon);
        return 0;
    });
}

OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit unit, AudioUnitPropertyID property,
                                                     AudioUnitPropertyListenerProc listener, void* refCon) {
    return onUnit(unit, [&](Unit& of) -> OSStatus {
        of.listeners().remove(property, listener, refCon);
        return 0;
    });
}

OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue* value) {
    return onRenderedUnit(unit, [&](const Unit& of) {
        return value != nullptr ? of.parameter(parameter, scope, element, value) : kAudio_ParamError;
    });
}

OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue value, UInt32 /*bufferOffset*/) {
    return onRenderedUnit(unit, [&](Unit& of) { return of.setParameter(parameter, scope, element, value); });
}

OSStatus AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* time,
                         UInt32 element, UInt32 frames, AudioBufferList* list) {
    return onRenderedUnit(
        unit, [&](Unit& of) { return time != nullptr ? of.render(*time, element, frames, list) : kAudio_ParamError; });
}

OSStatus AudioOutputUnitStart(AudioUnit unit) {
    return onUnit(unit, [](Unit& of) { return of.start(); });
}

OSStatus AudioOutputUnitStop(AudioUnit unit) {
    return onUnit(unit, [](Unit& of) { return of.stop(); });
}
