#pragma once

#include <algorithm>
#include <cmath>

namespace tonvale {

constexpr double decibelFloor = -150.0;

/// The level of a linear factor in dB: 20 log10(factor), never below the floor. Factors below 2^-25
/// are at the floor.
inline double factorToDecibels(double factor) {
    if (factor < 2.9802322387695313e-8)
        return decibelFloor;
    return std::max(decibelFloor, std::log(factor) * 8.685889638065037);
}

/// 10^(decibels / 20).
inline double decibelsToFactor(double decibels) {
    return std::exp(decibels * 0.11512925464970228);
}

} // namespace tonvale
