#include "chain/stage_models.h"

#include "chain/impulse_generator_edit.h"
#include "chain/reverb_core.h"
#include "convolution/containers/raw_memory.h"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>

namespace tonvale::test {
namespace {

using Samples = std::vector<double>;

Samples clickPlaces(const Samples &channel) {
    Samples places;
    for (size_t i = 0; i < channel.size(); ++i) {
        if (channel[i] != 0.0)
            places.push_back(static_cast<double>(i));
    }
    return places;
}

TEST(EchoGenerator, FallsInAStraightLineOfDecibels) {
    const Signal out = runStage("ECHOGEN", "", {44100, {{}}});
    ASSERT_EQ(out.length(), 4410u);
    ASSERT_EQ(clickPlaces(out.channels[0]).size(), 10u);
    for (size_t k = 0; k < 10; ++k)
        EXPECT_NEAR(20 * std::log10(out.channels[0][441 * k]),
                    -6.0206 - 0.60206 * static_cast<double>(k), 1e-4);
}

TEST(EchoGenerator, DrawsItsJitterFromThePublishedSequence) {
    // Worked out from the published recurrence, seed 61453; both channels draw from one sequence.
    const Signal out = runStage("ECHOGEN", "0 100 10 1 1 10 0.5", {44100, {{}, {}}});
    EXPECT_EQ(clickPlaces(out.channels[0]), (Samples{0, 786, 1652, 2395, 3097, 3882}));
    EXPECT_EQ(clickPlaces(out.channels[1]), (Samples{0, 854, 1475, 2219, 2989, 3608}));
}

TEST(EchoGenerator, KeepsThreeFramesBetweenClicks) {
    EXPECT_EQ(clickPlaces(runStage("ECHOGEN", "0 5 1", {2000, {{}}}).channels[0]),
              (Samples{0, 3, 6, 9}));
}

TEST(EchoGenerator, EndsAtAnAdvanceThatIsNoneOrHardlyOne) {
    for (const char *values : {"0 1000 3 1 1 -3 0", "0 1000 3 1 1 -4 0", "0 1000 3 1 1 -1e300 0"}) {
        Samples once(1000);
        once[0] = 1;
        EXPECT_EQ(runStage("ECHOGEN", values, {1000, {{}}}).channels[0], once) << values;
    }
    const Signal out = runStage("ECHOGEN", "0 1000 3 1 1 -2.999999999999 0", {1000, {{}}});
    EXPECT_LE(out.channels[0][0], 1000.5);
}

// The magnitude of the analogue sections at Q = 1, frequencies bent as the bilinear transform does.
double sectionGain(double frequency, double corner, bool highpass) {
    const auto bend = [](double f) { return std::tan(std::numbers::pi / 2 * f); };
    const double w = highpass ? bend(corner) / bend(frequency) : bend(frequency) / bend(corner);
    return 1 / std::hypot(1 - w * w, w);
}

TEST(Filter, HasUnitGainAtItsCornersAndFallsTwelveDecibelsAnOctave) {
    Samples click(20000);
    click[0] = 1;
    const auto gain = [&](const char *values, double frequency) {
        const Signal out = runStage("FILT", values, {44100, {click}});
        std::complex<double> sum = 0;
        for (size_t i = 0; i < out.length(); ++i)
            sum += out.channels[0][i] *
                   std::polar(1.0, -std::numbers::pi * frequency * static_cast<double>(i));
        return std::abs(sum);
    };
    for (double frequency : {0.002, 0.01, 0.05, 0.1, 0.3, 0.7, 0.95}) {
        EXPECT_NEAR(gain("0.1 0", frequency), sectionGain(frequency, 0.1, false), 1e-9);
        EXPECT_NEAR(gain("1 0.1", frequency), sectionGain(frequency, 0.1, true), 1e-9);
        EXPECT_NEAR(gain("0.3 0.05", frequency),
                    sectionGain(frequency, 0.3, false) * sectionGain(frequency, 0.05, true), 1e-9);
    }
    EXPECT_NEAR(gain("0.1 0", 0.1), 1.0, 1e-9);
    EXPECT_NEAR(gain("1 0.1", 0.1), 1.0, 1e-9);
    EXPECT_NEAR(20 * std::log10(gain("1 0.1", 0.0025) / gain("1 0.1", 0.005)), -12.04, 0.02);
    EXPECT_NEAR(20 * std::log10(gain("0.001 0", 0.02) / gain("0.001 0", 0.01)), -12.04, 0.05);
}

TEST(Filter, HoldsItsCornersInsideTheBand) {
    Random random(4);
    const Signal input = noise(random, 2, 500, 44100);
    EXPECT_EQ(runStage("FILT", "1 0", input).channels, input.channels);
    // The first answer to a click is 1 / (1 + K + K^2).
    const double high = std::tan(std::numbers::pi / 2 * 0.9999999);
    EXPECT_NEAR(runStage("FILT", "1 7", {44100, {{1}}}).channels[0][0] * high * high, 1, 1e-5);
    const double low = 1 / std::tan(std::numbers::pi / 2 * 1e-6);
    EXPECT_NEAR(runStage("FILT", "0 0", {44100, {{1}}}).channels[0][0] * low * low, 1, 1e-5);
}

TEST(Filter, KeepsSilenceAboveTheDenormalNumbers) {
    const Samples silent = runStage("FILT", "0.5 0", {44100, {Samples(9)}}).channels[0];
    EXPECT_EQ(silent[0], 1e-19);
    EXPECT_GT(silent[8], 0.0);
}

TEST(ChannelTool, TreatsOverlappingAndMissingChannelsAsWritten) {
    const Signal three{44100, {{1}, {2}, {3}}};
    const struct {
        const char *values;
        std::vector<Samples> expected;
    } cases[] = {
        {"0 1 0 2 0", {{2}, {3}, {2}}},                      // overlapping swap
        {"0 1 1 2 0", {{1}, {1}, {2}}},                      // overlapping copy
        {"9 0 1 1 0", {{0}, {2}, {3}}},                      // no such source
        {"0 3 2 1 0", {{1}, {2}, {3}, {1}}},                 // a destination that has to be made
        {"-1 0 0 2 0", {{2}, {1}, {3}}},                     // a source that begins in front
        {"0 -1 3 2 0", {{-1}, {2}, {3}}},                    // a destination that does
        {"0 4 77 1 0", {{1}, {2}, {3}, {0}, {0}}},           // an unknown action makes room
        {"0 1 1 0 2", {{1}, {2}}},                           // no channels to move
        {"0 1 1 -5 4", {{1}, {2}, {3}, {1}}},                //
        {"2147483647 -2147483648 0 1 129", {{1}, {2}, {3}}}, // total out of range
    };
    for (const auto &[values, expected] : cases) {
        Signal output = runStage("CHANTOOL", values, three);
        // A swap may have to make all channels there can be.
        if (output.channels.size() == 128)
            output.channels.resize(3);
        EXPECT_EQ(output.channels, expected) << values;
    }
    EXPECT_EQ(runStage("CHANTOOL", "", {44100, {{5}}}).channels, (std::vector<Samples>{{0}, {5}}));
    EXPECT_EQ(runStage("CHANTOOL", "0 0 1 1 4", {44100, {{1}, {2}}}).channels,
              (std::vector<Samples>{{1}, {2}, {1}, {2}}));
    EXPECT_EQ(runStage("CHANTOOL", "0 1 1 500 0", three).channels.size(), 128u);
}

TEST(ChannelTool, ConvolvesLongChannelsToTheirFullTails) {
    StageHost host;
    Random random(3);
    Signal input = noise(random, 2, 40000, 44100);
    const std::pair<size_t, double> taps[] = {{0, 0.5}, {17000, -0.25}, {39999, 0.125}};
    std::fill(input.channels[0].begin(), input.channels[0].end(), 0.0);
    Samples expected(80000);
    for (const auto &[place, value] : taps) {
        input.channels[0][place] = value;
        for (size_t i = 0; i < 40000; ++i)
            expected[place + i] += value * input.channels[1][i];
    }
    const Signal out = runStage("CHANTOOL", "0 1 4 1 0", input);
    ASSERT_EQ(out.length(), 80000u);
    for (size_t i = 0; i < expected.size(); ++i)
        ASSERT_NEAR(out.channels[1][i], expected[i], 1e-6) << i;
}

TEST(ReverbGenerator, FirstSoundsWhenTheShortestCombsAnswer) {
    const Signal out = runStage("VERBGEN", "10 100 1 50 50 1", {48000, {{}}});
    ASSERT_EQ(out.length(), 5280u);
    ASSERT_EQ(out.channels.size(), 2u);
    EXPECT_EQ(clickPlaces(out.channels[0])[0], 480 + 1214);
    EXPECT_EQ(clickPlaces(out.channels[1])[0], 480 + 1239);
    EXPECT_DOUBLE_EQ(out.channels[0][480 + 1214], 0.015);
}

TEST(ReverbGenerator, StaysMonoForASmallWidthAndExchangesSidesForANegativeOne) {
    const Signal mono{44100, {{1.0}}};
    EXPECT_EQ(runStage("VERBGEN", "0 50 1 50 50 0.1", mono).channels.size(), 1u);
    EXPECT_EQ(runStage("VERBGEN", "0 50 1 50 50 -0.11", mono).channels.size(), 2u);
    EXPECT_EQ(runStage("VERBGEN", "0 0 1 50 50 1", mono).channels, mono.channels);
    const auto apart = runStage("VERBGEN", "0 50 1 50 50 1", mono).channels;
    const auto exchanged = runStage("VERBGEN", "0 50 1 50 50 -1", mono).channels;
    EXPECT_EQ(apart[0], exchanged[1]);
    EXPECT_EQ(apart[1], exchanged[0]);
    const auto same = runStage("VERBGEN", "0 50 1 50 50 0", {44100, {{}, {}}}).channels;
    EXPECT_EQ(same[0], same[1]);
}

TEST(ReverbCore, SoundsTheSameInBlocksOfAnyLength) {
    constexpr int32_t frames = 6000;
    ReverbCore whole, pieces;
    Samples expected[2] = {Samples(frames), Samples(frames)},
            actual[2] = {expected[0], expected[1]};
    ASSERT_TRUE(whole.prepare() && pieces.prepare());
    whole.run(1.0, expected[0].data(), expected[1].data(), frames);
    for (int32_t done = 0, block = 0; done < frames; done += block) {
        block = std::min(1 + block * 2, frames - done);
        pieces.run(done == 0 ? 1.0 : 0.0, actual[0].data() + done, actual[1].data() + done, block);
    }
    EXPECT_EQ(actual[0], expected[0]);
    EXPECT_EQ(actual[1], expected[1]);
}

TEST(ReverbCore, RingsOutToSilenceAndNotToDenormalNumbers) {
    ReverbCore core;
    core.sampleRate = 20;
    core.roomSize = 0.98;
    ASSERT_TRUE(core.prepare());
    Samples left(100000);
    core.run(1.0, left.data(), nullptr, 100000);
    EXPECT_NE(left[1000], 0.0);
    EXPECT_EQ(left.back(), 0.0);
}

TEST(TrimGainStretch, CallsTheResamplerOnlyWhereTheLengthChanges) {
    StageHost host;
    Random random(6);
    const Signal input = noise(random, 2, 1000, 44100);
    StageHost::lastRates[0] = 0;
    EXPECT_EQ(runStage("BASICEDIT", "1 0 20000 1.004", input).channels, input.channels);
    EXPECT_EQ(runStage("BASICEDIT", "1 0 20000 1.006", {44100, {{7}}}).length(), 1u);
    EXPECT_EQ(StageHost::lastRates[0], 0.0);
    EXPECT_EQ(runStage("BASICEDIT", "1 0 20000 0.3", {44100, {{7}}}).channels[0], Samples{7});
    EXPECT_EQ(runStage("BASICEDIT", "1 0 20000 1.006", input).length(), 1006u);
    EXPECT_EQ(StageHost::lastRates[0], 44100.0);
    EXPECT_DOUBLE_EQ(StageHost::lastRates[1], 44100 * 1.006);
}

TEST(TrimGainStretch, LeavesTheStretchOutWithoutAResamplerOrMemoryAndDoesTheRest) {
    StageHost host;
    const Signal input{44100, {{1, 2, 3}}};
    setAllocationGate([](size_t) { return false; });
    ImpulseGenerator_Edit stage;
    setAllocationGate(nullptr);
    stage.loadText("2 0 20000 2");
    ImpulseBuffer impulse;
    load(impulse, input);
    setAllocationGate([](size_t) { return false; });
    stage.process(impulse);
    setAllocationGate(nullptr);
    EXPECT_EQ(read(impulse).channels[0], (Samples{2, 4, 6}));
    EXPECT_EQ(StageHost::liveResamplers, 0);
    hostFunctions.Resampler_Create = [] { return static_cast<ResamplerHandle *>(nullptr); };
    EXPECT_EQ(runStage("BASICEDIT", "2 0 20000 2", input).channels[0], (Samples{2, 4, 6}));
}

TEST(TrimGainStretch, LeavesAloneWhatItsSettingsDoNotTouch) {
    Random random(8);
    const Signal input = noise(random, 3, 441, 44100);
    EXPECT_EQ(runStage("BASICEDIT", "", input).channels, input.channels);
    const auto wide = runStage("BASICEDIT", "1 0 20000 1 0 -1 0", input).channels;
    EXPECT_EQ(wide[2], input.channels[2]);
    EXPECT_EQ(wide[0], input.channels[1]);
    EXPECT_EQ(runStage("BASICEDIT", "1 10", input).length(), 0u);
    EXPECT_EQ(runStage("BASICEDIT", "1 10 20000 1 2", input).channels, std::vector(3, Samples(88)));
    EXPECT_EQ(runStage("BASICEDIT", "1 0 -5", input).length(), 0u);
}

TEST(TrimGainStretch, ForecastsTheLengthOfTheNextRun) {
    ImpulseGenerator_Edit stage;
    ImpulseBuffer impulse;
    load(impulse, {1000, {Samples(3000)}});
    stage.process(impulse);
    stage.loadText("1 500 2000 1.5 250");
    EXPECT_DOUBLE_EQ(stage.forecastSeconds(), 0.25 + 2.0 * 1.5);
    stage.loadText("1 2600 2000 1.5 250");
    EXPECT_DOUBLE_EQ(stage.forecastSeconds(), 0.25 + 0.4 * 1.5);
    stage.loadText("1 4000 2000 1.5 250");
    EXPECT_DOUBLE_EQ(stage.forecastSeconds(), 0.25);
}

} // namespace
} // namespace tonvale::test
