#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace braq::bench {

/// The sample below which `fraction` of the samples lie. Puts `samples`, at least one, into another order.
inline double quantile(std::vector<double>& samples, double fraction) {
    const auto rank = static_cast<std::size_t>(fraction * static_cast<double>(samples.size()));
    const auto place = samples.begin() + static_cast<std::ptrdiff_t>(std::min(rank, samples.size() - 1));
    std::nth_element(samples.begin(), place, samples.end());
    return *place;
}

} // namespace braq::bench
