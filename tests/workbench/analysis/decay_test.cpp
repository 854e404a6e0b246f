#include "workbench/analysis/decay_curve.h"
#include "workbench/analysis/direct_sound.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace tonvale::workbench {
namespace {

struct Room {
    double rate;
    double seconds; ///< reverberation time
    double length;  ///< of the file, in reverberation times
    double noiseDb; ///< under the power at the start
};

/// Random samples that fall exponentially from `start` on, and random noise below all of it.
std::vector<double> samplesOf(const Room &room, size_t start, uint32_t seed) {
    std::mt19937_64 engine(seed);
    std::normal_distribution<double> random;
    std::vector<double> samples(start +
                                static_cast<size_t>(room.length * room.seconds * room.rate));
    for (size_t i = 0; i < samples.size(); ++i) {
        const double time = (static_cast<double>(i) - static_cast<double>(start)) / room.rate;
        const double decay = i < start ? 0.0 : std::pow(10.0, -3 * time / room.seconds);
        samples[i] =
            0.2 * (decay * random(engine) + std::pow(10.0, -room.noiseDb / 20) * random(engine));
    }
    samples[start] = 1;
    return samples;
}

constexpr Room noisyRooms[] = {{48000, 1.0, 1.5, 60}, {44100, 2.5, 1.2, 47}, {8000, 0.8, 2, 50},
                               {192000, 0.4, 3, 90},  {48000, 6.0, 1.0, 47}, {48000, 0.3, 10, 55}};

TEST(Decay, FindsTheNoiseTheKneeAndTheTimesOfExponentialDecays) {
    constexpr size_t start = 1234;
    uint32_t seed = 1;
    for (const Room &room : noisyRooms) {
        SCOPED_TRACE(testing::Message() << room.seconds << " s, " << room.noiseDb << " dB");
        const auto samples = samplesOf(room, start, ++seed);
        const Decay decay = findDecay(samples, room.rate);
        ASSERT_TRUE(decay.showsNoise);
        EXPECT_NEAR(powerDb(decay.noise), -room.noiseDb - 13.98, 0.3);
        const double knee = static_cast<double>(decay.knee - start) / room.rate;
        EXPECT_NEAR(knee / room.seconds * 60, room.noiseDb, 2.5);
        EXPECT_EQ(findDirectSound(samples, decay), start);
        const DecayCurve curve = decayCurve(samples, room.rate, start, decay);
        const auto fit = curve.fit(-5, -35);
        ASSERT_TRUE(fit);
        EXPECT_NEAR(fit->seconds / room.seconds, 1, 0.01);
    }
}

} // namespace
} // namespace tonvale::workbench
