#include "chain/reverb_core.h"
#include "chain/stage_formulas.h"

namespace tonvale::test {
namespace {

TEST(EchoGenerator, EndsAtAnAdvanceThatIsNoneOrHardlyOne) {
    Samples once(1000);
    once[0] = 1;
    for (const char *values : {"0 1000 3 1 1 -3 0", "0 1000 3 1 1 -4 0", "0 1000 3 1 1 -1e300 0"})
        EXPECT_EQ(runStage("ECHOGEN", values, {1000, {{}}}).channels[0], once) << values;
    const Signal out = runStage("ECHOGEN", "0 1000 3 1 1 -2.999999999999 0", {1000, {{}}});
    EXPECT_LE(out.channels[0][0], 1000.5);
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
