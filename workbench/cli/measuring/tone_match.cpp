#include "workbench/cli/measuring/tone_match.h"

#include "measure/complex_transform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>
#include <numbers>

namespace tonvale::workbench {

namespace {

constexpr double bands[] = {500, 1000, 2000, 4000, 8000};
constexpr double blockSeconds = 0.02;
constexpr double reachSeconds = 0.2; // how long before its loudest part a band may arrive
constexpr double mostDecibels = 200;

constexpr double leastProminence = 10; // dB; noise alone reaches half of that
constexpr double largestSpread = 0.1;  // seconds

struct Arrival {
    double prominence;
    double seconds;
};

/// The loudest block against the median one, and when the sound arrives there.
Arrival arrivalIn(const std::vector<double> &energies) {
    const size_t count = energies.size();
    std::vector<double> sorted = energies;
    const auto median = sorted.begin() + static_cast<ptrdiff_t>(count / 2);
    std::nth_element(sorted.begin(), median, sorted.end());
    const auto loudest = std::max_element(energies.begin(), energies.end());
    if (*loudest == 0.0)
        return {0.0, 0.0};
    const double ratio = *loudest / std::max(*median, *loudest * 1e-20);
    const auto peak = static_cast<size_t>(loudest - energies.begin());

    // A response may begin ahead of the file's start, and then stands at its end.
    size_t first = peak;
    const auto reach = std::min(count - 1, static_cast<size_t>(reachSeconds / blockSeconds));
    for (size_t back = 1; back <= reach; ++back) {
        const size_t block = (peak + count - back) % count;
        if (energies[block] > 0.1 * *loudest)
            first = block;
    }
    return {std::min(10.0 * std::log10(ratio), mostDecibels),
            static_cast<double>(first) * blockSeconds};
}

/// The time between the first and the last, where the end is followed by the start.
double spreadOf(std::vector<double> times, double period) {
    std::sort(times.begin(), times.end());
    double widest = times.front() + period - times.back();
    for (size_t i = 1; i < times.size(); ++i)
        widest = std::max(widest, times[i] - times[i - 1]);
    return period - widest;
}

} // namespace

bool ToneMatch::isResponse() const {
    return bands == 0 || (prominence >= leastProminence && spread <= largestSpread);
}

ToneMatch matchTone(const MeasuredSound &response) {
    const auto &samples = response.channels[loudestChannel(response)];
    const size_t span = samples.size();
    const int32_t bits = std::max(10, static_cast<int32_t>(std::bit_width(span - 1)));
    ComplexTransform transform;
    SampleBlock spectrum = allocatePoints(bits), band = allocatePoints(bits);
    if (!spectrum || !band || !transform.prepare(bits))
        throw std::bad_alloc();
    const size_t size = size_t{1} << bits;
    std::fill_n(spectrum.get(), 2 * size, 0.0);
    for (size_t i = 0; i < samples.size(); ++i)
        spectrum[2 * i] = samples[i];
    transform.forward(spectrum.get());

    const auto block = static_cast<size_t>(std::ceil(blockSeconds * response.rate));
    std::vector<double> energies, times;
    ToneMatch match;
    for (const double centre : bands) {
        if (centre * std::numbers::sqrt2 * 2.0 > response.rate)
            break;
        std::fill_n(band.get(), 2 * size, 0.0);
        for (size_t k = 1; k < size / 2; ++k) {
            const double hz = static_cast<double>(k) * response.rate / static_cast<double>(size);
            const double octaves = std::fabs(std::log2(hz / centre));
            if (octaves >= 1.0)
                continue;
            const double weight = 0.5 + 0.5 * std::cos(std::numbers::pi * octaves);
            band[2 * k] = weight * spectrum[2 * k];
            band[2 * k + 1] = weight * spectrum[2 * k + 1];
        }
        transform.inverse(band.get());
        energies.assign((span + block - 1) / block, 0.0);
        for (size_t i = 0; i < span; ++i)
            energies[i / block] += band[2 * i] * band[2 * i] + band[2 * i + 1] * band[2 * i + 1];
        const Arrival arrival = arrivalIn(energies);
        match.prominence += arrival.prominence;
        if (arrival.prominence >= leastProminence)
            times.push_back(arrival.seconds);
        ++match.bands;
    }
    if (match.bands > 0)
        match.prominence /= match.bands;
    if (!times.empty())
        match.spread = spreadOf(times, static_cast<double>(span) / response.rate);
    return match;
}

} // namespace tonvale::workbench
