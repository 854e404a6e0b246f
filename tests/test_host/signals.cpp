#include "test_host/signals.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace tonvale::test {

Samples noise(size_t length, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<> level(-0.5, 0.5);
    Samples samples(length);
    std::ranges::generate(samples, [&] { return level(random); });
    return samples;
}

Channels noiseChannels(size_t channels, size_t length, uint32_t firstSeed) {
    Channels result;
    while (result.size() < channels)
        result.push_back(noise(length, firstSeed++));
    return result;
}

Samples roomNoise(size_t length, uint32_t seed) {
    Samples samples = noise(length, seed);
    for (size_t i = 0; i < length; ++i)
        samples[i] *= std::exp(-3.0 * static_cast<double>(i) / static_cast<double>(length));
    return samples;
}

Samples click(size_t length, size_t at, double level) {
    Samples samples(length);
    samples.at(at) = level;
    return samples;
}

Samples delayed(const Samples &signal, size_t by) {
    Samples samples(by);
    samples.insert(samples.end(), signal.begin(), signal.end());
    return samples;
}

double convolvedSample(const Samples &input, const Samples &taps, size_t at) {
    double sum = 0.0;
    const size_t first = at >= input.size() ? at - input.size() + 1 : 0;
    for (size_t k = first; k < std::min(taps.size(), at + 1); ++k)
        sum += taps[k] * input[at - k];
    return sum;
}

Samples convolved(const Samples &input, const Samples &taps) {
    Samples result(input.size() + taps.size() - 1);
    for (size_t at = 0; at < result.size(); ++at)
        result[at] = convolvedSample(input, taps, at);
    return result;
}

double ErrorMeter::decibels() const {
    if (error == 0.0)
        return -400.0;
    return 10.0 * std::log10(error / std::max(signal, 1e-300));
}

double errorLevel(const Samples &actual, const Samples &expected) {
    ErrorMeter meter;
    for (size_t i = 0; i < std::min(actual.size(), expected.size()); ++i)
        meter.add(expected[i], actual[i]);
    return meter.decibels();
}

double convolutionError(const Channels &output, const Channels &input, const Channels &taps,
                        size_t delay, size_t stride) {
    if (output.empty() || output.size() != input.size() || output[0].size() <= delay)
        return HUGE_VAL;
    double worst = -HUGE_VAL;
    for (size_t c = 0; c < output.size(); ++c) {
        ErrorMeter meter;
        for (size_t t = 0; t + delay < output[c].size(); t += stride)
            meter.add(convolvedSample(input[c], taps[c % taps.size()], t), output[c][t + delay]);
        if (std::isnan(meter.error))
            return HUGE_VAL;
        worst = std::max(worst, meter.decibels());
    }
    return worst;
}

double largestDifference(std::span<const double> a, std::span<const double> b) {
    double largest = a.size() == b.size() ? 0.0 : HUGE_VAL;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        const double difference = std::fabs(a[i] - b[i]);
        largest = std::isnan(difference) ? HUGE_VAL : std::max(largest, difference);
    }
    return largest;
}

double largestDifference(const Channels &a, const Channels &b) {
    double largest = a.size() == b.size() ? 0.0 : HUGE_VAL;
    for (size_t c = 0; c < std::min(a.size(), b.size()); ++c)
        largest = std::max(largest, largestDifference(a[c], b[c]));
    return largest;
}

} // namespace tonvale::test
