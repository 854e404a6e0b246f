#include "editor/level_colour.h"

#include "convolution/containers/bounded_integer.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace tonvale {

namespace {

/// A colour channel that runs with the level, in fixed point: the low byte of
/// from + direction * (step >> shift), where the step is the level's, moved by `offset`. All of it
/// wraps around at 32 bits.
struct Ramp {
    uint32_t offset = 0;
    int shift = 0;
    uint32_t from = 0;
    int direction = 0; ///< 0 for no ramp
    int place = 0;     ///< lowest bit of the channel
};

struct Segment {
    int32_t last; ///< the highest level in it
    uint32_t fixed;
    Ramp first{};
    Ramp second{};
};

constexpr int blue = 0, green = 8, red = 16;

constexpr Segment segments[] = {
    {-168, 0x00000000},
    {-144, 0xFF000000, {0x0003FF90, 17, 0, 1, blue}},
    {-120, 0xFF00006E, {0xFF27FFA0, 17, 0, 1, green}},
    {-96, 0xFF000000, {0x044BFFB0, 17, 110, -1, blue}, {0x044BFFB0, 18, 110, 1, green}},
    {-72, 0xFF00A500, {0x006FFFC0, 16, 0, 1, red}},
    {-48, 0xFFDC0000, {0x0293FFD0, 17, 110, -1, green}},
    {-24, 0xFFDC0000, {0xFFB7FFE0, 16, 0, 1, blue}},
    {0, 0xFFDC00DC, {0xFFDBFFF0, 16, 0, 1, green}},
    {std::numeric_limits<int32_t>::max(), 0xFFDCDCDC},
};

constexpr uint32_t stepsPerLevel = 600746;

uint32_t rampColour(const Ramp &ramp, uint32_t step) {
    const uint32_t moved = (step + ramp.offset) >> ramp.shift;
    const uint32_t channel = ramp.from + static_cast<uint32_t>(ramp.direction) * moved;
    return ramp.direction ? (channel & 0xFF) << ramp.place : 0;
}

} // namespace

uint32_t levelColour(double power) {
    using Limits = std::numeric_limits<int32_t>;
    // In this order of operands a NaN counts as the least.
    const int32_t level =
        boundedInteger(std::log(std::max(1e-40, power)) * 7.0, Limits::min(), Limits::max());
    const Segment &segment =
        *std::find_if(std::begin(segments), std::end(segments),
                      [level](const Segment &candidate) { return level <= candidate.last; });
    const uint32_t step = static_cast<uint32_t>(level) * stepsPerLevel;
    return segment.fixed | rampColour(segment.first, step) | rampColour(segment.second, step);
}

} // namespace tonvale
