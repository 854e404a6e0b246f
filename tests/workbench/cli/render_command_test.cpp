#include "workbench/cli/program_run.h"
#include "workbench/cli/sound_file.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>

namespace tonvale::test {
namespace {

// A response is stored in single precision; these responses have a few hundred samples near 1.
constexpr double convolutionError = 1e-4;

class RenderCommand : public testing::Test {
  protected:
    TemporaryFolder folder;
    std::string in = folder / "in.wav";
    std::string out = folder / "out.wav";
    std::string response = folder / "response.wav";

    Sound render(const Words &more) {
        Words words{"render", in, out, "--depth", "64"};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramResult result = runProgram(words);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.errors, "");
        output = result.output;
        return readSound(out);
    }

    std::string output;
};

struct Mode {
    const char *name;
    Words words;
};

class RenderModes : public RenderCommand, public testing::WithParamInterface<Mode> {};

TEST_P(RenderModes, WriteTheWholeConvolutionLinedUpWithTheInput) {
    const Sound recording{48000, {noise(3001, 1), noise(3001, 2)}};
    const Sound room{48000, {noise(2500, 3), noise(2500, 4)}};
    writeSound(in, recording);
    writeSound(response, room);

    Words words{"--ir", response, "--wet", "0", "--dry", "-inf"};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    const Sound result = render(words);

    ASSERT_EQ(result.channels.size(), 2u);
    for (size_t c = 0; c < 2; ++c)
        EXPECT_LT(largestDifference(result.channels[c],
                                    convolved(recording.channels[c], room.channels[c])),
                  convolutionError);
}

INSTANTIATE_TEST_SUITE_P(
    , RenderModes,
    testing::Values(Mode{"Default", {}}, Mode{"OneSampleABlock", {"--block", "1", "--ll", "off"}},
                    Mode{"Plain", {"--zl", "off", "--ll", "off", "--block", "300"}},
                    Mode{"Offload", {"--max-fft", "512", "--block", "77"}},
                    Mode{"PlainOffload", {"--zl", "off", "--max-fft", "512", "--block", "4096"}}),
    [](const auto &test) { return test.param.name; });

TEST_F(RenderCommand, KeepsTheDrySignalInPlaceAndLetsTheWetOneLead) {
    const Samples voice = noise(5000, 5);
    Samples late(1201);
    late[1200] = 1.0;
    writeSound(in, {48000, {voice}});
    writeSound(response, {48000, {late}});

    // 10 ms are 480 samples, so the echo comes 720 samples behind the voice.
    const Sound result =
        render({"--ir", response, "--wet", "0", "--dry", "0", "--pre-verb", "10", "--zl", "off"});

    Samples expected(voice);
    expected.resize(voice.size() + 720);
    for (size_t i = 0; i < voice.size(); ++i)
        expected[i + 720] += voice[i];
    ASSERT_EQ(result.channels.size(), 1u);
    EXPECT_LT(largestDifference(result.channels[0], expected), 1e-5);
}

TEST_F(RenderCommand, WritesAsManyChannelsAsTheWiderOfRecordingAndResponse) {
    const Sound recording{44100, {noise(600, 6), noise(600, 7)}};
    // Channels 0 and 3 are alike, which mustn't hide that there are five.
    const Sound room{44100,
                     {noise(80, 8), noise(80, 9), noise(80, 10), noise(80, 8), noise(80, 11)}};
    writeSound(in, recording);
    writeSound(response, room);
    struct Case {
        Words words;
        size_t channels;
    };
    for (const Case &c :
         {Case{{}, 5}, Case{{"--channels", "7"}, 7}, Case{{"--channels", "1"}, 1}}) {
        Words words{"--ir", response, "--wet", "0", "--dry", "-inf"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const Sound result = render(words);
        ASSERT_EQ(result.channels.size(), c.channels);
        for (size_t k = 0; k < c.channels; ++k)
            EXPECT_LT(largestDifference(result.channels[k],
                                        convolved(recording.channels[k % 2], room.channels[k % 5])),
                      convolutionError)
                << "channel " << k;
    }
}

TEST_F(RenderCommand, GoesOnBehindTheInputForAsLongAsAskedFor) {
    writeSound(in, {1000, {noise(400, 12)}});
    writeSound(response, {1000, {noise(300, 13)}});
    EXPECT_EQ(render({"--ir", response}).frames(), 699u);
    EXPECT_EQ(render({"--ir", response, "--tail", "0"}).frames(), 400u);
    EXPECT_EQ(render({"--ir", response, "--tail", "1.5"}).frames(), 1900u);
}

TEST_F(RenderCommand, RunsFilesAndStagesInTheOrderOfTheLine) {
    writeSound(in, {48000, {{1.0, 0.0, 0.0, 0.0}}});
    writeSound(response, {48000, {{1.0, 0.5}}});
    const std::string second = folder / "second.wav";
    writeSound(second, {48000, {{0.0, 0.25}}});
    const Words levels{"--wet", "0", "--dry", "-inf", "--tail", "0"};
    const auto with = [&](Words words) {
        words.insert(words.end(), levels.begin(), levels.end());
        return render(words).channels.at(0);
    };
    const std::string half = "BASICEDIT 0.5 0 20000 1 0 1 0";
    EXPECT_LT(largestDifference(with({"--ir", response, "--stage", half, "--ir", second}),
                                {0.5, 0.5, 0.0, 0.0}),
              1e-6);
    EXPECT_LT(largestDifference(with({"--ir", response, "--ir", second, "--stage", half}),
                                {0.5, 0.375, 0.0, 0.0}),
              1e-6);
    EXPECT_LT(
        largestDifference(with({"--ir", response, "--stage", "!" + half, "--stage", "REVERSE"}),
                          {0.5, 1.0, 0.0, 0.0}),
        1e-6);
    EXPECT_NE(output.find("2. !BASICEDIT"), std::string::npos) << output;
}

TEST_F(RenderCommand, SetsEachParameterFromItsOption) {
    writeSound(in, {48000, {noise(10, 14)}});
    render({"--wet", "-6", "--dry", "3.5", "--pre-verb", "120", "--max-fft", "1024", "--width",
            "-0.5", "--pan", "0.25", "--zl", "off", "--ll", "off"});
    for (const char *shown : {"Wet -6.0 dB", "Dry +3.5 dB", "Pre-verb 120 ms", "Max FFT size 1024",
                              "Width -0.50", "Pan 0.25", "ZL mode 0", "LL mode 0"})
        EXPECT_NE(output.find(shown), std::string::npos) << shown << " in\n" << output;
}

TEST_F(RenderCommand, SoundsTheSameFromASavedState) {
    writeSound(in, {44100, {noise(2000, 15), noise(2000, 16)}});
    writeSound(response, {44100, {noise(900, 17)}});
    const std::string state = folder / "state";
    // A state holds single precision, so only values that are exact there come back the same.
    const Sound first =
        render({"--ir", response, "--stage", "!NORM", "--stage", "FILT 0.5 0.0078125", "--wet",
                "-3", "--width", "0.5", "--pan", "-0.4", "--zl", "off", "--save-state", state});
    const Sound again = render({"--load-state", state});
    ASSERT_EQ(again.channels.size(), first.channels.size());
    for (size_t c = 0; c < first.channels.size(); ++c)
        EXPECT_EQ(largestDifference(first.channels[c], again.channels[c]), 0.0);
    EXPECT_NE(output.find("2. !NORM"), std::string::npos) << output;
}

TEST_F(RenderCommand, WarnsOfPeaksThatTheDepthCutsOff) {
    writeSound(in, {48000, {{0.0, 0.9, -0.2}}});
    for (const auto &[depth, warned] : {std::pair{"16", true}, {"24", true}, {"32", false}}) {
        const ProgramResult result =
            runProgram({"render", in, out, "--dry", "6", "--depth", depth});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.errors.find("clipped") != std::string::npos, warned) << depth;
    }
}

TEST_F(RenderCommand, LeavesNothingBehindWhenASignalEndsIt) {
    writeSound(in, {8000, {noise(8000, 18)}});
    const pid_t child = startProgram({"render", in, out, "--tail", "80000", "--block", "16"});
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (folder.names().size() < 2 && std::chrono::steady_clock::now() < patience)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(folder.names().size(), 2u) << "the temporary file";
    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.wav"});
}

} // namespace
} // namespace tonvale::test
