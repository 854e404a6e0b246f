#include "workbench/analysis/decay_curve.h"
#include "workbench/analysis/direct_sound.h"
#include "workbench/analysis/responses.h"

#include <gtest/gtest.h>

namespace tonvale::test {
namespace {

using namespace workbench;

constexpr ExponentialRoom rooms[] = {{48000, 1.0, 1.5, 60}, {44100, 2.5, 1.2, 47},
                                     {8000, 0.8, 2, 50},    {192000, 0.4, 3, 90},
                                     {48000, 6.0, 1.0, 47}, {48000, 0.3, 10, 55}};

TEST(Decay, FindsTheStartTheNoiseTheKneeAndTheTimeOfExponentialDecays) {
    constexpr size_t start = 1234;
    uint32_t seed = 1;
    for (const ExponentialRoom &room : rooms) {
        SCOPED_TRACE(testing::Message() << room.seconds << " s, " << room.noiseDb << " dB");
        const auto samples = response(room, start, ++seed);
        const Decay decay = findDecay(samples, room.rate);
        ASSERT_TRUE(decay.showsNoise);
        EXPECT_NEAR(powerDb(decay.noise), -room.noiseDb, 0.3);
        const double knee = static_cast<double>(decay.knee - start) / room.rate;
        EXPECT_NEAR(knee / room.seconds * 60, room.noiseDb, 2.5);
        const auto found = findDirectSound(samples, decay);
        ASSERT_TRUE(found);
        EXPECT_NEAR(static_cast<double>(*found), start, 3);
        const auto fit = decayCurve(samples, room.rate, start, decay).fit(-5, -35);
        ASSERT_TRUE(fit);
        EXPECT_NEAR(fit->seconds / room.seconds, 1, 0.02);
    }
}

TEST(Decay, ShowsNoNoiseWhereTheFileEndsFirstAndNoDecayInNoiseOrSilence) {
    for (const double length : {0.1, 0.3, 0.9, 2.0, 5.0}) {
        const Decay cut = findDecay(response({48000, 1.0, length, 400}, 100, 3), 48000);
        EXPECT_FALSE(cut.showsNoise) << length;
        EXPECT_NEAR(cut.fall * 48000 / 13.8155, 1, length < 0.5 ? 0.15 : 0.03) << length;
    }
    for (const std::vector<double> &flat :
         {noise(48000, 1), std::vector<double>(48000, 0.5), noise(100, 7)}) {
        const Decay decay = findDecay(flat, 48000);
        EXPECT_TRUE(decay.showsNoise);
        EXPECT_FALSE(findDirectSound(flat, decay));
    }
    EXPECT_EQ(findDecay(std::vector<double>(1000), 48000).end, 0u);
    EXPECT_EQ(findDecay({}, 48000).end, 0u);
}

} // namespace
} // namespace tonvale::test
