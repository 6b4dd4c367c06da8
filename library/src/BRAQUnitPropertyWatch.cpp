#include "library/src/BRAQUnitPropertyWatch.h"

#include <utility>

namespace braq {

UnitPropertyWatch::UnitPropertyWatch(AudioUnit unit, AudioUnitPropertyID property, std::function<void()> changed)
    : mUnit(unit), mProperty(property), mChanged(std::move(changed)) {
    AudioUnitAddPropertyListener(mUnit, mProperty, listener, this);
}

UnitPropertyWatch::~UnitPropertyWatch() {
    AudioUnitRemovePropertyListenerWithUserData(mUnit, mProperty, listener, this);
}

void UnitPropertyWatch::listener(void* self, AudioUnit /*unit*/, AudioUnitPropertyID /*property*/,
                                 AudioUnitScope /*scope*/, AudioUnitElement /*element*/) {
    static_cast<const UnitPropertyWatch*>(self)->mChanged();
}

} // namespace braq
