#include "chain/impulse_generator_edit.h"
#include "chain/stage_formulas.h"

namespace tonvale::test {
namespace {

TEST(Filter, KeepsSilenceAboveTheDenormalNumbers) {
    const Samples silent = runStage("FILT", "0.5 0", {44100, {Samples(9)}}).channels[0];
    EXPECT_EQ(silent[0], 1e-19);
    EXPECT_GT(silent[8], 0.0);
}

using ChannelTool = StageTest<>;

TEST_F(ChannelTool, TreatsOverlappingAndMissingChannelsAsWritten) {
    const Signal three{44100, {{1}, {2}, {3}}};
    const struct {
        const char *values;
        Channels expected;
    } cases[] = {
        {"0 1 0 2 0", {{2}, {3}, {2}}},                      // overlapping swap
        {"-1 0 0 2 0", {{2}, {1}, {3}}},                     // a source that begins in front
        {"0 -1 3 2 0", {{-1}, {2}, {3}}},                    // a destination that does
        {"0 -1 0 2 0", {{2}, {0}, {3}}},                     // a swap with one
        {"0 1 1 0 2", {{1}, {2}}},                           // no channels to move
        {"0 1 1 -5 4", {{1}, {2}, {3}, {1}}},                // nor here
        {"2147483647 -2147483648 1 1 129", {{1}, {2}, {3}}}, // total out of range
    };
    for (const auto &[values, expected] : cases)
        EXPECT_EQ(runStage("CHANTOOL", values, three).channels, expected) << values;
    EXPECT_EQ(runStage("CHANTOOL", "0 1 1 500 0", three).channels.size(), 128u);
}

TEST_F(ChannelTool, ConvolvesLongChannelsToTheirFullTails) {
    Samples taps(40000);
    taps[0] = 0.5;
    taps[17000] = -0.25;
    taps[39999] = 0.125;
    const Samples input = noise(40000, 3);
    const Signal out = runStage("CHANTOOL", "0 1 4 1 0", {44100, {taps, input}});
    ASSERT_EQ(out.length(), 80000u);
    for (size_t i = 0; i < 80000; ++i) {
        double expected = 0;
        for (const size_t place : {0, 17000, 39999})
            expected += i >= place && i - place < 40000 ? taps[place] * input[i - place] : 0;
        ASSERT_NEAR(out.channels[1][i], expected, 1e-6) << i;
    }
}

using TrimGainStretch = StageTest<>;

TEST_F(TrimGainStretch, StretchesInTimeWithTheHostsResampler) {
    const Signal input{44100, {burst(44100), burst(44100, -0.5)}};
    for (const double ratio : {0.3, 1.006, 2.5}) {
        const std::string values = "1 0 20000 " + std::to_string(ratio);
        const Signal out = runStage("BASICEDIT", values, input);
        const double length = 44100 / 5.0 * ratio;
        ASSERT_LE(static_cast<double>(out.length()), length + 0.5);
        ASSERT_GE(static_cast<double>(out.length()), length * 0.8);
        EXPECT_LT(errorLevel(out.channels[0], burst(44100 * ratio)), -80.0) << ratio;
        EXPECT_LT(errorLevel(out.channels[1], burst(44100 * ratio, -0.5)), -80.0) << ratio;
    }
}

TEST_F(TrimGainStretch, LeavesTheStretchOutWhereItCannotBeAndDoesTheRest) {
    const Signal input{44100, {{1, 2, 3}}};
    const Channels doubled{{2, 4, 6}};
    EXPECT_EQ(runStage("BASICEDIT", "2 0 20000 1.1", input).channels, doubled);
    EXPECT_EQ(runStage("BASICEDIT", "2 0 20000 0.9", input).channels, doubled);
    ImpulseGenerator_Edit stage;
    stage.loadText("2 0 20000 2");
    ImpulseBuffer impulse;
    load(impulse, input);
    {
        const AllocationLimit limit(0);
        stage.process(impulse);
    }
    EXPECT_EQ(read(impulse).channels, doubled);
    hostFunctions.Resampler_Create = nullptr;
    EXPECT_EQ(runStage("BASICEDIT", "2 0 20000 2", input).channels, doubled);
    EXPECT_EQ(runStage("BASICEDIT", "2 0 20000 1 1e8", input).channels, doubled);
}

TEST_F(TrimGainStretch, ForecastsTheLengthOfTheNextRun) {
    ImpulseGenerator_Edit stage;
    ImpulseBuffer impulse;
    load(impulse, {1000, {Samples(3000)}});
    stage.process(impulse);
    for (const auto &[start, rest] : {std::pair{"500", 2.0}, {"2600", 0.4}, {"4000", 0.0}}) {
        stage.loadText(("1 " + std::string(start) + " 2000 1.5 250").c_str());
        EXPECT_DOUBLE_EQ(stage.forecastSeconds(), 0.25 + rest * 1.5);
    }
}

} // namespace
} // namespace tonvale::test
