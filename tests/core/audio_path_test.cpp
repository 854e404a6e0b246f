#include "core/reverb_plugin.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tonvale::test {
namespace {

ReverbPlugin &pluginOf(EffectDriver &driver) {
    return *static_cast<ReverbPlugin *>(driver.effect->user);
}

/// An effect whose wet signal is its input (an empty chain), at 44100 Hz.
class AudioPath : public testing::Test {
  protected:
    /// Normalised Pre-verb of so many samples.
    static float preverb(int32_t samples) {
        return static_cast<float>((samples + 0.5) / 44100.0 / 3.0);
    }

    static Channels ones(size_t channels, size_t length) {
        return Channels(channels, std::vector<double>(length, 1.0));
    }

    EffectDriver driver;
};

TEST_F(AudioPath, ANewEffectPassesDryAtItsGainAndTheEmptyChainAsWet) {
    const Channels input{noise(2000, 1), noise(2000, 2)};
    const Channels output = driver.process(input, 100);
    const double gain = 1.0 + std::exp(-12.0 * std::log(10.0) / 20.0);
    for (size_t t = 0; t < 2000; ++t) {
        ASSERT_NEAR(output[0][t], input[0][t] * gain, 1e-12);
        ASSERT_NEAR(output[1][t], input[1][t] * gain, 1e-12);
    }
}

TEST_F(AudioPath, DryLeavesAfterTheReportedLatencyAndWetThePreverbEarlier) {
    for (const bool zl : {true, false}) {
        for (const int32_t block : {1, 100, 300, 4096}) {
            driver.set(3, 0.03f); // more than the response needs: 1024 points do
            driver.setResponse({click(300)});
            driver.set(2, preverb(700));
            driver.hearWetOnly(zl, false);
            const auto delay = static_cast<size_t>(driver.effect->initialDelay);
            EXPECT_EQ(delay, zl ? 700u : 700u + 512u);
            driver.set(1, 0.25f);
            driver.reset();
            const Channels output = driver.process(Channels(2, click(8192)), block);
            for (size_t t = 0; t < 8192; ++t) {
                const double expected = t == delay - 700 ? 1.0 : t == delay ? 0.25 : 0.0;
                ASSERT_NEAR(output[0][t], expected, 1e-7) << "block " << block << " at " << t;
            }
        }
    }
}

TEST_F(AudioPath, GainsRampOverOneBlockAndWidthTurnsFromStereoToSwapped) {
    driver.hearWetOnly(true, false);
    driver.process(ones(2, 64), 64);
    driver.set(0, 0.5f);
    const Channels ramp = driver.process(ones(2, 64), 64);
    for (size_t t = 0; t < 64; ++t)
        ASSERT_NEAR(ramp[0][t], 1.0 - 0.5 * static_cast<double>(t) / 64.0, 1e-12);
    EXPECT_EQ(driver.process(ones(2, 1), 1)[1][0], 0.5);

    driver.set(0, 1.0f);
    driver.reset();
    Channels sides = ones(2, 100);
    std::fill(sides[1].begin(), sides[1].end(), -3.0);
    driver.set(4, 0.0f);
    const Channels mixed = driver.process(sides, 100);
    for (size_t t = 0; t < 100; ++t) {
        const double a = 1.0 - static_cast<double>(t) / 100.0;
        ASSERT_NEAR(mixed[0][t], a - 3.0 * (1.0 - a), 1e-12);
        ASSERT_NEAR(mixed[1][t], -3.0 * a + (1.0 - a), 1e-12);
    }
    const Channels swapped = driver.process(sides, 100);
    EXPECT_EQ(swapped[0], sides[1]);
    EXPECT_EQ(swapped[1], sides[0]);
}

TEST_F(AudioPath, ABlockOfNoFramesUsesUpNoRamp) {
    driver.hearWetOnly(true, false);
    driver.process(ones(2, 8), 8);
    driver.set(0, 0.0f);
    driver.set(4, 0.25f);
    double *none[2] = {nullptr, nullptr};
    driver.effect->processDoubleReplacing(driver.effect, none, none, 0);
    const Channels output = driver.process(ones(2, 8), 8);
    EXPECT_EQ(output[0][0], 1.0);
    EXPECT_NEAR(output[0][7], 1.0 / 8.0, 1e-12);
}

TEST_F(AudioPath, PanLowersOneSideOfTheWetSignalAlone) {
    driver.setChannels(3);
    driver.set(5, 1.0f);
    driver.hearWetOnly(true, false);
    Channels output = driver.process(ones(3, 4), 4);
    EXPECT_EQ(output[0][3], 0.0);
    EXPECT_EQ(output[1][3], 1.0);
    EXPECT_EQ(output[2][3], 0.0);
    driver.set(5, 0.25f);
    driver.set(1, 2.0f);
    driver.reset();
    output = driver.process(ones(3, 4), 4);
    EXPECT_EQ(output[0][3], 3.0);
    EXPECT_EQ(output[1][3], 2.5);
}

TEST_F(AudioPath, LatencyGrowsAtOnceAndGoesDownAtAResetOnly) {
    driver.set(2, preverb(14400));
    EXPECT_EQ(driver.effect->initialDelay, 14400);
    driver.set(2, 0.0f);
    EXPECT_EQ(driver.effect->initialDelay, 14400);
    EXPECT_EQ(pluginOf(driver).preverbSamples, 0);

    // Wet and dry stay in line while the latency is higher than needed.
    const Channels output = driver.process(Channels(2, click(20000)), 512);
    const double both = 1.0 + driver.get(0);
    EXPECT_NEAR(output[0][14400], both, 1e-7);
    EXPECT_EQ(std::count(output[0].begin(), output[0].end(), 0.0), 20000 - 1);
    driver.reset();
    EXPECT_EQ(driver.effect->initialDelay, 0);
}

TEST_F(AudioPath, ThePreverbMovedInPlayDropsNoMoreThanItMust) {
    // As a response, a click: on taps and on transforms, and with a worker.
    for (const auto &[length, ll] : {std::pair{40u, false}, {3000u, false}, {3000u, true}}) {
        driver.set(3, 480.0f / 16352.0f); // 512
        driver.set(2, preverb(3000));
        driver.setResponse({click(length)});
        driver.hearWetOnly(false, ll);
        const auto delay = static_cast<size_t>(driver.effect->initialDelay);
        for (uint32_t step = 0; step < 20; ++step) {
            const size_t lead = step % 2 ? 3000 : 3000 - 150 * step;
            driver.set(2, preverb(static_cast<int32_t>(lead)));
            const Channels input{noise(9000, step), noise(9000, step + 50)};
            const Channels output = driver.process(input, 100);
            for (size_t t = 8000; t < 9000; t += 9)
                ASSERT_NEAR(output[1][t], input[1][t - (delay - lead)], 1e-6)
                    << length << " step " << step;
        }
    }
}

TEST_F(AudioPath, TheBlockInWhichWetComesBackHasItsDrySamplesAtItsEnd) {
    driver.set(2, preverb(1000));
    driver.set(0, 0.0f);
    driver.set(1, 1.0f);
    driver.reset();
    Channels input(2, std::vector<double>(8192));
    for (size_t t = 0; t < 8192; ++t)
        input[0][t] = input[1][t] = static_cast<double>(t + 1);
    int blocks = 0;
    const Channels output = driver.process(input, [&] {
        if (blocks++ == 8) // wet pauses, and comes back in mid-block
            driver.set(2, preverb(0));
        return 512;
    });
    EXPECT_EQ(std::count(output[1].begin(), output[1].end(), 0.0), 2000);
    for (size_t t = 0; t < 8192; ++t) {
        if (output[1][t] != 0.0) {
            ASSERT_EQ(output[1][t], static_cast<double>(t + 1) - 1000.0) << t;
        }
    }
}

TEST_F(AudioPath, AChannelThatComesBackBringsNoOldSoundAlong) {
    driver.set(2, preverb(1000));
    driver.set(0, 0.0f);
    driver.setChannels(4);
    driver.reset();
    driver.process(ones(4, 3000), 128);
    driver.setChannels(2);
    driver.process(ones(2, 3000), 128);
    driver.setChannels(4);
    const Channels back(4, std::vector<double>(3000, 3.0));
    const Channels output = driver.process(back, 128);
    for (size_t c = 2; c < 4; ++c) {
        EXPECT_EQ(std::count(output[c].begin(), output[c].end(), 1.0), 0);
        EXPECT_EQ(output[c].back(), 3.0);
    }
}

TEST_F(AudioPath, ANullArrayCountsAsAnArrayOfNulls) {
    Channels heard = ones(2, 64);
    double *outputs[2] = {heard[0].data(), heard[1].data()};
    driver.set(2, preverb(10));
    driver.reset();
    driver.process(ones(2, 64), 64);
    driver.effect->processDoubleReplacing(driver.effect, nullptr, outputs, 64);
    EXPECT_EQ(heard[0][9], 1.0) << "dry of the block before";
    EXPECT_EQ(heard[1][10], 0.0);
    driver.effect->processDoubleReplacing(driver.effect, outputs, nullptr, 64);
    driver.effect->processDoubleReplacing(driver.effect, nullptr, nullptr, 0);
}

TEST_F(AudioPath, NoGainOrPreverbOfAHostMakesLatencyNegativeOrSoundInfinite) {
    for (const float wild : {-INFINITY, INFINITY, NAN, -1e30f, -1.0f, 1e30f, 0.0f}) {
        for (const int32_t param : {2, 0, 1, 4, 5}) {
            driver.set(param, wild);
            driver.reset();
            EXPECT_GE(driver.effect->initialDelay, 0);
            EXPECT_LE(driver.effect->initialDelay, 1 << 24);
            const Channels output = driver.process(ones(2, 300), 100);
            for (const double sample : output[0])
                ASSERT_TRUE(std::isfinite(sample)) << wild << " " << param;
        }
    }
    EXPECT_EQ(driver.get(2), 0.0f);
}

TEST_F(AudioPath, NullInputsAreSilenceOnEveryRoad) {
    driver.set(3, 0.0f);
    driver.setResponse({roomNoise(5000, 1), roomNoise(5000, 2)});
    for (const float width : {1.0f, 0.3f, 0.0f}) {
        driver.set(4, width);
        driver.hearWetOnly(true, true);
        std::vector<double> heard(3000, 0.0);
        std::vector<double> right = noise(3000, 4);
        std::vector<double> outRight(3000);
        double *inputs[2] = {nullptr, right.data()};
        double *outputs[2] = {heard.data(), outRight.data()};
        driver.effect->processDoubleReplacing(driver.effect, inputs, outputs, 3000);

        driver.reset();
        const Channels told = driver.process({std::vector<double>(3000, 0.0), right}, 3000);
        EXPECT_EQ(told[0], heard);
        EXPECT_EQ(told[1], outRight);
    }
}

TEST_F(AudioPath, SinglePrecisionEntriesLeaveTheOutputsAsTheyAre) {
    float samples[4] = {1.0f, -2.0f, 3.0f, -4.0f};
    float *channels[2] = {samples, samples + 2};
    driver.effect->process(driver.effect, channels, channels, 2);
    driver.effect->processReplacing(driver.effect, channels, channels, 2);
    EXPECT_EQ(samples[0], 1.0f);
    EXPECT_EQ(samples[3], -4.0f);
}

TEST_F(AudioPath, ALoudBlockOfNotANumberIsGoneOnceItLeftTheTaps) {
    driver.setResponse({roomNoise(3000, 1)});
    driver.hearWetOnly(true, false);
    Channels input{noise(1000, 1), noise(1000, 2)};
    input[0][10] = NAN;
    input[1][700] = INFINITY;
    driver.process(input, 250);
    const Channels after = driver.process({noise(4000, 3), noise(4000, 4)}, 250);
    for (const auto &channel : after) {
        for (const double sample : channel)
            ASSERT_TRUE(std::isfinite(sample));
    }
}

TEST_F(AudioPath, MemoryThatRunsOutCostsSoundAndNothingElse) {
    putMedia("room", 44100.0, {roomNoise(5000, 1), roomNoise(5000, 2)});
    driver.set(3, 0.0f);
    const std::vector<std::string> chain{"FILELDR \"memory:room\" 60"};
    const Channels sound(5, noise(3000, 1));
    int refused = 0;
    for (int allowed = 0; allowed < 160; allowed += 3) {
        {
            const auto blocks = randomBlocks(1, 2000);
            AllocationLimit limit(allowed);
            driver.setChain(chain);
            driver.set(6, allowed % 2 ? 1.0f : 0.0f);
            driver.setChannels(1 + allowed % 5);
            driver.process(sound, blocks);
            driver.reset();
            refused += limit.refused();
        }
    }
    EXPECT_GT(refused, 100);

    // And comes back with the memory.
    driver.setChannels(2);
    driver.setResponse({roomNoise(5000, 1)});
    driver.hearWetOnly(true, true);
    const Channels input = noiseChannels(2, 8000, 1);
    EXPECT_LT(convolutionError(driver.process(input, 200), input, {roomNoise(5000, 1)}, 0, 7),
              -145.0);
}

} // namespace
} // namespace tonvale::test
