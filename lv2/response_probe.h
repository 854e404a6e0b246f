#pragma once

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

/// Plays clicks through instances of its own, since the record of an effect tells no more than the
/// length, and whether there are one, two or more channels. Not on an audio thread.
ResponseShape probeResponse(const std::vector<std::string> &chain, double rate);

} // namespace tonvale::lv2
