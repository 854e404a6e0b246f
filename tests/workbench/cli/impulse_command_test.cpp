#include "workbench/cli/program_run.h"
#include "workbench/cli/sound_file.h"

#include <gtest/gtest.h>

namespace tonvale::test {
namespace {

class ImpulseCommand : public testing::Test {
  protected:
    TemporaryFolder folder;
    std::string out = folder / "out.wav";

    Sound impulse(const Words &more) {
        Words words{"impulse", out, "--depth", "64"};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramResult result = runProgram(words);
        EXPECT_EQ(result.status, 0) << result.errors;
        return readSound(out);
    }
};

TEST_F(ImpulseCommand, GivesBackAFileInEveryChannelAtItsOwnRate) {
    for (const size_t channels : {1, 2, 3, 6}) {
        Sound room{96000, {}};
        for (size_t c = 0; c < channels; ++c)
            room.channels.push_back(noise(20000, static_cast<uint32_t>(c + 1)));
        const std::string name = folder / "a room's.wav";
        writeSound(name, room);
        const Sound result = impulse({"--ir", name});
        EXPECT_EQ(result.rate, 96000);
        ASSERT_EQ(result.channels.size(), channels);
        for (size_t c = 0; c < channels; ++c)
            EXPECT_LT(largestDifference(result.channels[c], room.channels[c]), 1e-5);
    }
}

TEST_F(ImpulseCommand, RunsGeneratorsAtTheRateAskedFor) {
    // Clicks each 10 ms for 30 ms, at -6.02 dB and with no fall.
    const Sound result = impulse({"--rate", "8000", "--stage", "ECHOGEN 0 30 10 0.5 0.5 0 0.5"});
    Samples expected(240);
    expected[0] = expected[80] = expected[160] = 0.5;
    EXPECT_EQ(result.rate, 8000);
    ASSERT_EQ(result.channels.size(), 1u);
    EXPECT_LT(largestDifference(result.channels[0], expected), 1e-6);
}

TEST_F(ImpulseCommand, WritesAResponseOfASingleSample) {
    const Sound result = impulse({"--stage", "ECHOGEN 0 1 10 0.5 0.5 0 0.5", "--rate", "1000"});
    ASSERT_EQ(result.channels.size(), 1u);
    EXPECT_LT(largestDifference(result.channels[0], {0.5}), 1e-6);
}

} // namespace
} // namespace tonvale::test
