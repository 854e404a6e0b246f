#include "workbench/analysis/direct_sound.h"

#include <algorithm>
#include <cmath>

namespace tonvale::workbench {

namespace {

constexpr double belowPeak = 0.1;               ///< -20 dB
constexpr double aboveNoise = 6.30957344480193; ///< 16 dB

} // namespace

std::optional<size_t> findDirectSound(std::span<const double> samples, const Decay &decay) {
    if (decay.end == 0)
        return std::nullopt;
    const double least =
        std::max(std::fabs(samples[decay.peak]) * belowPeak, std::sqrt(decay.noise) * aboveNoise);
    const auto place = std::find_if(samples.begin(), samples.end(),
                                    [&](double sample) { return std::fabs(sample) >= least; });
    if (place == samples.end())
        return std::nullopt;
    return static_cast<size_t>(place - samples.begin());
}

} // namespace tonvale::workbench
