#include "workbench/cli/sound/sample_coder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tonvale::workbench {

namespace {

/// SplitMix64 (Steele, Lea and Flood 2014).
uint64_t nextRandom(uint64_t &state) {
    uint64_t z = state += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
}

/// The sum of two even ones: triangular over ±1.
double triangular(uint64_t random) {
    const auto high = static_cast<int32_t>(random >> 32);
    const auto low = static_cast<int32_t>(random & 0xFFFFFFFF);
    return static_cast<double>(int64_t{high} + low) * 0x1p-32;
}

/// `level` at the nearest whole number from -`scale` to `scale` - 1, the even one of two as near.
double rounded(double level, double scale) {
    // Beyond this sum no fraction fits into a double.
    constexpr double noFraction = 0x1.8p52;
    const double number = level == level ? level : 0.0;
    const double held = number < -scale ? -scale : number > scale - 1.0 ? scale - 1.0 : number;
    return (held + noFraction) - noFraction;
}

constexpr double scale16 = 0x1p15;
constexpr double scale24 = 0x1p23;

/// The largest magnitude of neighbours, NaN where one isn't finite. Several at once and without
/// branches, since each comparison waits for the one before it.
double peakOf(const double *samples, int frames) {
    constexpr int ways = 8;
    double peaks[ways] = {};
    double doubts[ways] = {}; // 0 for numbers, NaN for what is none or infinite
    int i = 0;
    for (; i + ways <= frames; i += ways) {
        for (int way = 0; way < ways; ++way) {
            const double size = std::fabs(samples[i + way]);
            peaks[way] = peaks[way] < size ? size : peaks[way];
            doubts[way] += size - size;
        }
    }
    for (; i < frames; ++i) {
        peaks[0] = std::max(peaks[0], std::fabs(samples[i]));
        doubts[0] += samples[i] - samples[i];
    }
    return *std::max_element(peaks, peaks + ways) + std::accumulate(doubts, doubts + ways, 0.0);
}

size_t bytesOf(int depth) {
    return depth == 24 ? sizeof(int32_t) : static_cast<size_t>(depth / 8);
}

} // namespace

SampleCoder::SampleCoder(const SoundFormat &soundFormat, int channels)
    : format(soundFormat)
    , channelCount(channels)
    , numberBytes(bytesOf(soundFormat.depth)) {
    // Far apart in the one long sequence that all states lie on.
    uint64_t seed = 0x746F6E76616C65;
    for (int c = 0; c < channels; ++c)
        noise.push_back(nextRandom(seed));
}

template <class Number, class Convert>
const void *SampleCoder::convertAll(const double *const *planes, int frames, int offset,
                                    int spacing, Convert convert) {
    auto *numbers = reinterpret_cast<Number *>(coded.data());
    for (int c = 0; c < channelCount; ++c) {
        const double *sample = planes[c] + offset;
        measure(sample, frames, spacing);
        Number *out = numbers + c;
        uint64_t state = noise[static_cast<size_t>(c)];
        for (int i = 0; i < frames; ++i, sample += spacing, out += channelCount)
            *out = convert(*sample, state);
        noise[static_cast<size_t>(c)] = state;
    }
    return numbers;
}

const void *SampleCoder::code(const double *const *planes, int frames, int offset, int spacing) {
    coded.resize(static_cast<size_t>(std::max(frames, 0)) * frameBytes());
    switch (format.depth) {
    case 16:
        if (!format.dither) {
            return convertAll<int16_t>(
                planes, frames, offset, spacing, [](double sample, uint64_t &) {
                    return static_cast<int16_t>(rounded(sample * scale16, scale16));
                });
        }
        return convertAll<int16_t>(
            planes, frames, offset, spacing, [](double sample, uint64_t &state) {
                const double level = sample * scale16 + triangular(nextRandom(state));
                return static_cast<int16_t>(rounded(level, scale16));
            });
    case 24:
        return convertAll<int32_t>(planes, frames, offset, spacing, [](double sample, uint64_t &) {
            return static_cast<int32_t>(rounded(sample * scale24, scale24)) * 256;
        });
    case 32:
        return convertAll<float>(planes, frames, offset, spacing, [](double sample, uint64_t &) {
            return static_cast<float>(sample);
        });
    default:
        return convertAll<double>(planes, frames, offset, spacing,
                                  [](double sample, uint64_t &) { return sample; });
    }
}

void SampleCoder::measure(const double *samples, int frames, int spacing) {
    const double mostHeld = format.depth == 32 ? double{std::numeric_limits<float>::max()}
                                               : std::numeric_limits<double>::max();
    if (spacing == 1) {
        if (const double peak = peakOf(samples, frames); peak <= mostHeld) {
            largest = std::max(largest, peak);
            return;
        }
    }
    for (int i = 0; i < frames; ++i, samples += spacing) {
        const double size = std::fabs(*samples);
        if (size <= mostHeld)
            largest = std::max(largest, size);
        else
            nonFinite = true;
    }
}

} // namespace tonvale::workbench
