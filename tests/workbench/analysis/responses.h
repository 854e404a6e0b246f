#pragma once

#include "test_host/signals.h"

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace tonvale::test {

struct ExponentialRoom {
    double rate;
    double seconds;     ///< reverberation time
    double length;      ///< of the file, in reverberation times
    double noiseDb;     ///< under the power at the start, which is 1
    double carrier = 0; ///< Hz of a tone that dies away; 0: random samples
};

/// Falls exponentially from `start` on, into random noise that is there before.
inline std::vector<double> response(const ExponentialRoom &room, size_t start, uint32_t seed) {
    std::mt19937_64 engine(seed);
    std::normal_distribution<double> random;
    const double floor = std::pow(10.0, -room.noiseDb / 20);
    std::vector<double> samples(start +
                                static_cast<size_t>(room.length * room.seconds * room.rate));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = floor * random(engine);
    for (size_t i = start; i < samples.size(); ++i) {
        const double time = static_cast<double>(i - start) / room.rate;
        const double sound =
            room.carrier > 0
                ? std::numbers::sqrt2 * std::cos(2 * std::numbers::pi * room.carrier * time)
                : random(engine);
        samples[i] += std::pow(10.0, -3 * time / room.seconds) * sound;
    }
    return samples;
}

} // namespace tonvale::test
