#include "platform/units/SourceSettings.h"

#include "platform/foundation/PropertyBytes.h"
#include "platform/units/CallbackSource.h"
#include "platform/units/UnitTable.h"

namespace braq {
namespace {

AudioStreamBasicDescription outputFormat(Unit& unit) {
    AudioStreamBasicDescription format{};
    UInt32 size = sizeof(format);
    const OSStatus status = unit.property({kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0}, &format, &size);
    return status == 0 ? format : AudioStreamBasicDescription{};
}

} // namespace

OSStatus SourceSettings::setCallback(const void* data, UInt32 size) {
    const OSStatus status = take(mCallback, size, data, kAudioUnitErr_InvalidPropertyValue);
    if (status == 0) {
        mIsConnected = false;
        mUnit.reset();
    }
    return status;
}

OSStatus SourceSettings::setConnection(const void* data, UInt32 size, const Unit& of) {
    AudioUnitConnection connection{};
    if (const OSStatus status = take(connection, size, data, kAudioUnitErr_InvalidPropertyValue)) {
        return status;
    }
    if (connection.sourceOutputNumber != 0 || connection.destInputNumber != 0) {
        return kAudioUnitErr_InvalidElement;
    }
    const auto unit = UnitTable::instance().find(connection.sourceAudioUnit);
    if (connection.sourceAudioUnit != nullptr && (unit == nullptr || unit.get() == &of || unit->isOutputUnit())) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    mCallback = {};
    mUnit = unit;
    mIsConnected = unit != nullptr;
    return 0;
}

std::shared_ptr<FrameSource> SourceSettings::make(const AudioStreamBasicDescription& format, UInt32 sliceLimit,
                                                  std::atomic<OSStatus>& lastError, OSStatus& status) const {
    status = 0;
    if (!mIsConnected) {
        return mCallback.inputProc == nullptr
                   ? nullptr
                   : std::make_shared<CallbackSource>(mCallback, format, sliceLimit, lastError);
    }
    const auto unit = mUnit.lock();
    auto output = unit != nullptr ? unit->output() : nullptr;
    if (output == nullptr) {
        status = kAudioUnitErr_NoConnection;
        return nullptr;
    }
    const auto delivered = outputFormat(*unit);
    if (delivered.mSampleRate != format.mSampleRate || delivered.mChannelsPerFrame != format.mChannelsPerFrame) {
        status = kAudioUnitErr_FormatNotSupported;
        return nullptr;
    }
    return output;
}

} // namespace braq
