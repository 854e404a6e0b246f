#pragma once

#include <algorithm>
#include <cstdint>

namespace tonvale {

/// The integer part of `value`, held between `low` and `high`; a NaN counts as 0. What comes from a
/// host, a file or a text can be any double, and only those of its range may become an integer.
constexpr int32_t boundedInteger(double value, int32_t low, int32_t high) {
    if (value != value)
        return std::clamp(0, low, high);
    if (value <= low)
        return low;
    if (value >= high)
        return high;
    return static_cast<int32_t>(value);
}

} // namespace tonvale
