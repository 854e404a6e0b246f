#include "chain/reverb_core.h"
#include "chain/stage_formulas.h"

#include <algorithm>

namespace tonvale::test {
namespace {

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
