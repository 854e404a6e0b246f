#include "chain/impulse_generator_edit.h"
#include "chain/reverb_core.h"
#include "chain/stage_formulas.h"

#include <algorithm>

// What single stages do beyond their formulas.

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
    const auto tool =
        std::ranges::find(stageFormulas(), std::string("CHANTOOL"), &StageFormula::key);
    expectAgreement(*tool, {0, 1, 4, 1, 0}, {44100, {noise(20000, 1), noise(20000, 2)}});
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
        for (size_t c = 0; c < 2; ++c)
            EXPECT_LT(burstError(out.channels[c], 44100 * ratio, c == 0 ? 1.0 : -0.5), -80.0);
    }
}

TEST_F(TrimGainStretch, LeavesTheStretchOutWhereItCannotBeAndDoesTheRest) {
    const Signal input{44100, {{1, 2, 3}}};
    const Channels doubled{{2, 4, 6}};
    for (const char *values : {"2 0 20000 1.1", "2 0 20000 0.9"})
        EXPECT_EQ(runStage("BASICEDIT", values, input).channels, doubled);
    EXPECT_EQ(runStage("BASICEDIT", "2 0 20000 2", input, 0).channels, doubled);
    hostFunctions.Resampler_Create = nullptr;
    for (const char *values : {"2 0 20000 2", "2 0 20000 1 1e8"})
        EXPECT_EQ(runStage("BASICEDIT", values, input).channels, doubled);
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

TEST(EchoGenerator, GoesAsFarAsItsErrorsLetItGetOn) {
    Samples once(1000);
    once[0] = 1;
    for (const char *error : {"-2.5", "-2.999999999999", "-3", "-4", "-1e300"}) {
        const std::string values = "0 1000 3 1 1 " + std::string(error) + " 0";
        const Samples twiceAFrame(1000, 2);
        EXPECT_EQ(runStage("ECHOGEN", values, {1000, {{}}}).channels[0],
                  error == std::string("-2.5") ? twiceAFrame : once)
            << values;
    }
    // A train that walks far back in front of a steep start.
    for (const Samples &channel :
         runStage("ECHOGEN", "0 10 4410 1 0 -7000", {1000, Channels(8)}).channels)
        EXPECT_LE(*std::ranges::max_element(channel), 1e35);
}

TEST(GeneratorStages, LeaveTheImpulseAsItWasWhenAskedForMoreThanAChannelHolds) {
    const Signal mono{44100, {noise(50, 1)}};
    for (const char *key : {"ECHOGEN", "VERBGEN"}) {
        for (const char *values : {"0 1e8", "1e8 9"})
            EXPECT_EQ(runStage(key, values, mono).channels, mono.channels) << key << values;
    }
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

} // namespace
} // namespace tonvale::test
