#pragma once

#include <bit>
#include <cstdint>

namespace tonvale {

/// `value`, or 0.0 in place of a magnitude below 2^-54, an infinity or a NaN: none of them may
/// enter a ring of spectra, where one sample reaches a whole block for as long as the response
/// lasts. Adding one to the exponent makes the largest, that of infinities and NaNs, wrap to the
/// smallest, so that one comparison serves both ends.
inline double withoutTinyValues(double value) {
    constexpr uint64_t exponentMask = 2047;
    constexpr uint64_t leastKept = 970;
    const uint64_t exponent = (std::bit_cast<uint64_t>(value) >> 52) & exponentMask;
    return ((exponent + 1) & exponentMask) < leastKept ? 0.0 : value;
}

} // namespace tonvale
