#include "tools/braq/info/FileLevels.h"

#include <algorithm>
#include <cmath>
#include <span>

void FileLevels::add(const float* const* planes, std::size_t frames) {
    for (std::size_t i = 0; i < mChannels.size(); ++i) {
        Channel& channel = mChannels[i];
        float peak = 0.0F;
        std::uint64_t leftOut = 0;
        for (const float sample : std::span(planes[i], frames)) {
            if (!std::isfinite(sample)) {
                ++leftOut;
                continue;
            }
            peak = std::max(peak, std::abs(sample));
            channel.squares += double{sample} * double{sample};
        }
        channel.peak = std::max(channel.peak, double{peak});
        channel.samples += frames - leftOut;
        mLeftOut += leftOut;
    }
}

std::vector<ChannelLevels> FileLevels::levels() const {
    std::vector<ChannelLevels> levels;
    for (const Channel& channel : mChannels) {
        const double meanSquare = channel.samples > 0 ? channel.squares / static_cast<double>(channel.samples) : 0.0;
        levels.push_back({20.0 * std::log10(channel.peak), 10.0 * std::log10(meanSquare)});
    }
    return levels;
}
