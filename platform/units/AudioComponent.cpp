#include "BRAQAudio/platform/units.h"

#include "platform/hardware/DeviceProcedures.h"
#include "platform/units/DeviceUnit.h"
#include "platform/units/UnitTable.h"
#include "platform/units/VarispeedUnit.h"

#include <algorithm>
#include <iterator>

struct OpaqueAudioComponent {
    AudioComponentDescription description;
    std::shared_ptr<braq::Unit> (*make)();
};

namespace {

template <class Kind>
std::shared_ptr<braq::Unit> make() {
    return std::make_shared<Kind>();
}

// One row per kind of unit.
constexpr OpaqueAudioComponent components[]{
    {{kAudioUnitType_Output, kAudioUnitSubType_HALOutput, kAudioUnitManufacturer_Platform, 0, 0},
     make<braq::DeviceUnit>},
    {{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput, kAudioUnitManufacturer_Platform, 0, 0},
     make<braq::DeviceUnit>},
    {{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed, kAudioUnitManufacturer_Platform, 0, 0},
     make<braq::VarispeedUnit>},
};

bool isComponent(AudioComponent component) {
    return std::ranges::any_of(components, [component](const auto& one) { return &one == component; });
}

bool fits(const AudioComponentDescription& sought, const AudioComponentDescription& description) {
    const auto agree = [](UInt32 wanted, UInt32 is) { return wanted == 0 || wanted == is; };
    return agree(sought.componentType, description.componentType) &&
           agree(sought.componentSubType, description.componentSubType) &&
           agree(sought.componentManufacturer, description.componentManufacturer) &&
           ((sought.componentFlags ^ description.componentFlags) & sought.componentFlagsMask) == 0;
}

} // namespace

AudioComponent AudioComponentFindNext(AudioComponent after, const AudioComponentDescription* description) {
    if (description == nullptr || (after != nullptr && !isComponent(after))) {
        return nullptr;
    }
    const auto* found = std::find_if(after != nullptr ? after + 1 : std::begin(components), std::end(components),
                                     [&](const auto& one) { return fits(*description, one.description); });
    return found != std::end(components) ? found : nullptr;
}

OSStatus AudioComponentInstanceNew(AudioComponent component, AudioComponentInstance* instance) {
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    if (instance == nullptr || !isComponent(component)) {
        return kAudio_ParamError;
    }
    *instance = braq::UnitTable::instance().add(component->make());
    return *instance != nullptr ? 0 : kAudioUnitErr_FailedInitialization;
}

OSStatus AudioComponentInstanceDispose(AudioComponentInstance instance) {
    if (!braq::UnitTable::instance().contains(instance)) {
        return kAudio_ParamError;
    }
    if (braq::DeviceProcedures::isOnIOThread()) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    const auto unit = braq::UnitTable::instance().find(instance);
    if (unit == nullptr) {
        return kAudio_ParamError;
    }
    const OSStatus status = unit->uninitialize();
    return braq::UnitTable::instance().take(instance) != nullptr ? status : kAudio_ParamError;
}
