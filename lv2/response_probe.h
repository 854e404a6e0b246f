#pragma once

#include "lv2/effect.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tonvale::lv2 {

/// What a chain makes, as hosts are told of it.
struct ResponseShape {
    int32_t frames = 0;
    int32_t channels = 1;
    double peak = 0.0; ///< full scale is 1
};

/// Plays clicks through an effect that has this chain, since its record tells no more than the
/// length, and whether there are one, two or more channels. Leaves it with other channels, signal
/// and parameters that act at once. Not on an audio thread.
ResponseShape probeResponse(Effect &probe, const std::vector<std::string> &chain, double rate);

} // namespace tonvale::lv2
