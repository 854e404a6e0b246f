#include "workbench/cli/measuring/response_edges.h"

#include "workbench/analysis/direct_sound.h"
#include "workbench/analysis/noise_floor.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace tonvale::workbench {

namespace {

constexpr double longestFade = 0.05; // seconds

/// The samples that are left of a channel.
size_t fadeIntoNoise(std::vector<double> &samples, double rate) {
    const Decay decay = findDecay(samples, rate);
    if (!decay.showsNoise || decay.knee <= decay.peak || decay.knee > samples.size())
        return samples.size();
    const size_t fade =
        std::min(static_cast<size_t>(longestFade * rate), (decay.knee - decay.peak) / 2);
    for (size_t i = 0; i < fade; ++i) {
        const double place = (static_cast<double>(i) + 0.5) / static_cast<double>(fade);
        samples[decay.knee - fade + i] *= 0.5 + 0.5 * std::cos(std::numbers::pi * place);
    }
    std::fill(samples.begin() + static_cast<ptrdiff_t>(decay.knee), samples.end(), 0.0);
    return decay.knee;
}

} // namespace

bool alignResponse(MeasuredSound &response, double seconds) {
    std::optional<size_t> earliest;
    for (const auto &samples : response.channels) {
        const auto start = findDirectSound(samples, findDecay(samples, response.rate));
        if (start)
            earliest = std::min(earliest.value_or(*start), *start);
    }
    if (!earliest)
        return false;
    const auto wanted = static_cast<size_t>(std::round(seconds * response.rate));
    for (auto &samples : response.channels) {
        if (wanted >= *earliest)
            samples.insert(samples.begin(), wanted - *earliest, 0.0);
        else
            samples.erase(samples.begin(),
                          samples.begin() + static_cast<ptrdiff_t>(*earliest - wanted));
    }
    return true;
}

void trimResponse(MeasuredSound &response) {
    size_t longest = 0;
    for (auto &samples : response.channels)
        longest = std::max(longest, fadeIntoNoise(samples, response.rate));
    for (auto &samples : response.channels)
        samples.resize(longest);
}

} // namespace tonvale::workbench
