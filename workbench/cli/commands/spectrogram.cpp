#include "workbench/cli/commands/spectrogram.h"

#include "workbench/analysis/noise_floor.h"
#include "workbench/services/transforms.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace tonvale::workbench {

namespace {

constexpr double longestSeconds = 0.06;
constexpr size_t smallestWindow = 256;
constexpr size_t largestWindow = 32768;

} // namespace

std::vector<double> spectrogram(std::span<const double> samples, double rate, size_t columns,
                                std::span<const double> frequencies) {
    prepareTransforms();
    const auto wanted = static_cast<size_t>(std::min(longestSeconds * rate, 1e6));
    const size_t size = std::clamp(std::bit_floor(wanted), smallestWindow, largestWindow);
    const int *places = fftPermutation(static_cast<int>(size / 2));
    std::vector<double> window(size);
    for (size_t i = 0; i < size; ++i)
        window[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (static_cast<double>(i) + 0.5) /
                                         static_cast<double>(size));

    std::vector<double> levels(columns * frequencies.size());
    std::vector<double> values(size);
    for (size_t x = 0; x < columns; ++x) {
        const size_t middle = samples.size() * (2 * x + 1) / (2 * columns);
        for (size_t i = 0; i < size; ++i) {
            const size_t place = middle + i - size / 2; // wraps round before the first sample
            values[i] = place < samples.size() ? samples[place] * window[i] : 0.0;
        }
        fftReal(values.data(), static_cast<int>(size), 0);
        for (size_t y = 0; y < frequencies.size(); ++y) {
            const auto bin =
                static_cast<size_t>(std::lround(frequencies[y] / rate * static_cast<double>(size)));
            const auto pair = static_cast<size_t>(places[std::clamp<size_t>(bin, 1, size / 2 - 1)]);
            const double real = values[2 * pair], imaginary = values[2 * pair + 1];
            levels[y * columns + x] = powerDb(real * real + imaginary * imaginary);
        }
    }
    return levels;
}

} // namespace tonvale::workbench
