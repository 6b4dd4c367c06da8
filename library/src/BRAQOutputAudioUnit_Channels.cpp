#include "BRAQAudio/BRAQOutputAudioUnit.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

// The routing of channels to loudspeakers.

namespace {

constexpr NSXCallSite siteOf(const char* method) { return {"src/BRAQOutputAudioUnit_Channels", method}; }

} // namespace

std::vector<BRAQChannelPosition> BRAQOutputAudioUnit::channelPositions() const {
    std::vector<BRAQChannelPosition> positions(mLevelChannels);
    auto size = static_cast<UInt32>(positions.size() * sizeof(BRAQChannelPosition));
    NSXRaiseOnFailure(AudioUnitGetProperty(mOutputUnit, kBRAQOutputUnitProperty_ChannelPositions, kAudioUnitScope_Input,
                                           0, positions.data(), &size),
                      "AudioUnitGetProperty( mOutputUnit, kBRAQOutputUnitProperty_ChannelPositions, "
                      "kAudioUnitScope_Input, 0, positions, &size )",
                      siteOf("-[BRAQOutputAudioUnit channelPositions]"));
    return positions;
}

void BRAQOutputAudioUnit::setChannelPositions(const std::vector<BRAQChannelPosition>& positions) {
    const auto size = static_cast<UInt32>(positions.size() * sizeof(BRAQChannelPosition));
    NSXRaiseOnFailure(AudioUnitSetProperty(mOutputUnit, kBRAQOutputUnitProperty_ChannelPositions, kAudioUnitScope_Input,
                                           0, positions.data(), size),
                      "AudioUnitSetProperty( mOutputUnit, kBRAQOutputUnitProperty_ChannelPositions, "
                      "kAudioUnitScope_Input, 0, positions, size )",
                      siteOf("-[BRAQOutputAudioUnit setChannelPositions:]"));
}

bool BRAQOutputAudioUnit::unscaledDownmix() const {
    UInt32 isUnscaled = 0;
    UInt32 size = sizeof(isUnscaled);
    NSXRaiseOnFailure(AudioUnitGetProperty(mOutputUnit, kBRAQOutputUnitProperty_UnscaledDownmix, kAudioUnitScope_Input,
                                           0, &isUnscaled, &size),
                      "AudioUnitGetProperty( mOutputUnit, kBRAQOutputUnitProperty_UnscaledDownmix, "
                      "kAudioUnitScope_Input, 0, &isUnscaled, &size )",
                      siteOf("-[BRAQOutputAudioUnit unscaledDownmix]"));
    return isUnscaled != 0;
}

void BRAQOutputAudioUnit::setUnscaledDownmix(bool unscaled) {
    const UInt32 isUnscaled = unscaled ? 1 : 0;
    NSXRaiseOnFailure(AudioUnitSetProperty(mOutputUnit, kBRAQOutputUnitProperty_UnscaledDownmix, kAudioUnitScope_Input,
                                           0, &isUnscaled, sizeof(isUnscaled)),
                      "AudioUnitSetProperty( mOutputUnit, kBRAQOutputUnitProperty_UnscaledDownmix, "
                      "kAudioUnitScope_Input, 0, &isUnscaled, sizeof(isUnscaled) )",
                      siteOf("-[BRAQOutputAudioUnit setUnscaledDownmix:]"));
}
