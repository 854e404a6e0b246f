#pragma once

#include <cstdint>
#include <vector>

namespace tonvale::bench {

using Planes = std::vector<std::vector<double>>; ///< channels of samples

/// A decaying room: noise that falls by 60 dB from end to end, of energy 1, rounded to single
/// precision, so that every convolver gets the very same. Equal channels share one seed.
Planes roomResponse(int channels, int frames, bool equal);

/// Noise between -0.5 and 0.5, of its own in each channel.
Planes noisePlanes(int channels, int frames);

/// Sample `at` of the convolution of `taps` with `input`, which repeats for ever and began at 0.
double convolvedAt(const std::vector<double> &taps, const std::vector<double> &input, int64_t at);

} // namespace tonvale::bench
