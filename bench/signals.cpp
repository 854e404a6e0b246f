#include "bench/signals.h"

#include <cmath>
#include <random>

namespace tonvale::bench {

Planes roomResponse(int channels, int frames, bool equal) {
    Planes planes;
    for (int c = 0; c < channels; ++c) {
        std::mt19937 random(static_cast<uint32_t>(equal ? 7 : 7 + c));
        std::uniform_real_distribution<> level(-1.0, 1.0);
        std::vector<double> plane(static_cast<size_t>(frames));
        double energy = 0.0;
        for (int i = 0; i < frames; ++i) {
            double &sample = plane[static_cast<size_t>(i)];
            sample = level(random) * std::exp(-6.9078 * i / frames);
            energy += sample * sample;
        }
        for (double &sample : plane)
            sample = static_cast<float>(sample / std::sqrt(energy));
        planes.push_back(std::move(plane));
    }
    return planes;
}

Planes noisePlanes(int channels, int frames) {
    Planes planes;
    for (int c = 0; c < channels; ++c) {
        std::mt19937 random(static_cast<uint32_t>(1000 + c));
        std::uniform_real_distribution<> level(-0.5, 0.5);
        std::vector<double> plane(static_cast<size_t>(frames));
        // Every convolver can take these as they are.
        for (double &sample : plane)
            sample = static_cast<float>(level(random));
        planes.push_back(std::move(plane));
    }
    return planes;
}

double convolvedAt(const std::vector<double> &taps, const std::vector<double> &input, int64_t at) {
    long double sum = 0.0;
    const auto period = static_cast<int64_t>(input.size());
    for (int64_t j = 0; j < static_cast<int64_t>(taps.size()) && j <= at; ++j)
        sum += static_cast<long double>(taps[static_cast<size_t>(j)]) *
               input[static_cast<size_t>((at - j) % period)];
    return static_cast<double>(sum);
}

} // namespace tonvale::bench
