#pragma once

#include <cmath>

namespace tonvale {

/// The curve of a fader whose row has a skew above 1, over positions 0 to 1000: below 0 `direction`
/// turns a position into the linear value, otherwise a linear value into the position. Both ends
/// map to themselves.
inline double applySkew(double value, int direction, double skew) {
    const double scale = std::pow(1000.0, skew - 1.0);
    return direction < 0 ? std::pow(value, skew) / scale : std::pow(value * scale, 1.0 / skew);
}

} // namespace tonvale
