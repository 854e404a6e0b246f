#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tonvale::test {

using Samples = std::vector<double>;
using Channels = std::vector<Samples>;

/// A sound as it lies in a file or in an impulse: channels of one length.
struct Sound {
    double rate = 44100.0; ///< Hz
    Channels channels{};

    size_t length() const { return channels.empty() ? 0 : channels[0].size(); }
};

/// Seeded noise between -0.5 and 0.5.
Samples noise(size_t length, uint32_t seed);
/// So many channels of it, with this seed and those behind it.
Channels noiseChannels(size_t channels, size_t length, uint32_t firstSeed);
/// Decaying noise, as a response of a room.
Samples roomNoise(size_t length, uint32_t seed);
/// Silence but for one sample of `level`.
Samples click(size_t length, size_t at = 0, double level = 1.0);
/// `signal` behind `by` samples of silence.
Samples delayed(const Samples &signal, size_t by);

/// sum over k of taps[k] * input[at - k].
double convolvedSample(const Samples &input, const Samples &taps, size_t at);
/// All of them, one less than both have together.
Samples convolved(const Samples &input, const Samples &taps);

/// The level of an error against a signal, dB, over corresponding samples.
struct ErrorMeter {
    double signal = 0.0;
    double error = 0.0;

    void add(double expected, double actual) {
        signal += expected * expected;
        error += (actual - expected) * (actual - expected);
    }
    double decibels() const;
};

/// The error of `actual` over as many samples as both have, dB.
double errorLevel(const Samples &actual, const Samples &expected);

/// The error of `output` against the convolution of `input` with `taps`, dB, in the worst channel:
/// output channel c comes of input channel c and response c modulo their count. Sample t of the
/// input answers for sample t + `delay` of the output; every `stride`-th is looked at. Infinite
/// where the channels don't match, nothing can be looked at or a sample is no number.
double convolutionError(const Channels &output, const Channels &input, const Channels &taps,
                        size_t delay = 0, size_t stride = 1);

/// The largest difference of two samples; infinite where lengths or channels don't match, or where
/// it is no number.
double largestDifference(std::span<const double> a, std::span<const double> b);
double largestDifference(const Channels &a, const Channels &b);

} // namespace tonvale::test
