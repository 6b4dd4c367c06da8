#include "tools/braq/terminal/Meters.h"

#include <algorithm>

Meters::Meters(const std::shared_ptr<BRAQAudioDevice>& device, const std::vector<unsigned>& channels) {
    constexpr std::size_t channelsOfAMeter = 2;
    try {
        for (std::size_t first = 0; first < channels.size(); first += channelsOfAMeter) {
            std::vector<SInt32> some;
            for (std::size_t i = first; i < std::min(first + channelsOfAMeter, channels.size()); ++i) {
                some.push_back(static_cast<SInt32>(channels[i]) - 1);
                mChannels.push_back({channels[i], {}});
            }
            mMeters.push_back({BRAQAudioInputMeter::initWithDevice(device, some), some.size()});
            mMeters.back().meter->start();
        }
    } catch (...) {
        invalidate();
        throw;
    }
}

// All of them are on the same device: one tells for the others.
void Meters::setDelegate(const std::shared_ptr<BRAQAudioUnitDelegate>& delegate) {
    if (!mMeters.empty()) {
        mMeters.front().meter->inputAudioUnit()->setDelegate(delegate);
    }
}

std::vector<MeteredChannel> Meters::look(double secondsSinceLast) {
    std::vector<MeteredChannel> metered;
    auto channel = mChannels.begin();
    for (const auto& one : mMeters) {
        const auto* levels = one.meter->levels();
        for (std::size_t i = 0; i < one.channels; ++i, ++channel) {
            metered.push_back({channel->number, levels[i], channel->hold.add(levels[i], secondsSinceLast)});
        }
    }
    return metered;
}

void Meters::invalidate() {
    for (const auto& one : mMeters) {
        one.meter->invalidate();
    }
}
