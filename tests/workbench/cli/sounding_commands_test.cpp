#include "workbench/cli/program_run.h"
#include "workbench/sounds.h"

#include <cmath>
#include <csignal>
#include <numbers>
#include <thread>
#include <tuple>

namespace tonvale::test {
namespace {

// A response is stored in single precision; these responses have a few hundred samples near 1.
constexpr double tolerance = 1e-4;

/// A direct sound behind `delay` samples, then noise that falls by 60 dB.
Samples room(size_t delay, size_t frames, uint32_t seed) {
    Samples samples = noise(delay + frames, seed);
    std::fill_n(samples.begin(), delay, 0.0);
    for (size_t i = 0; i < frames; ++i)
        samples[delay + i] *= 0.2 * std::pow(1e-3, static_cast<double>(i) / frames);
    samples[delay] = 0.8;
    return samples;
}

/// `sound` must have these channels, to within `error`.
void expectSound(const Sound &sound, const Channels &channels, double error) {
    EXPECT_LE(largestDifference(sound.channels, channels), error);
}

struct SoundingCommands : CommandTest {
    Sound render(const Words &more) { return run(Words{"render", in, out} + more); }
    Sound impulse(const Words &more) { return run(Words{"impulse", out} + more); }
    Sound run(const Words &words) {
        output = runWell(words + Words{"--depth", "64"});
        return readSound(out);
    }

    std::string output;
};

TEST_F(SoundingCommands,
       RenderWritesTheWholeConvolutionLinedUpWithTheInputInTheWiderCountOfChannels) {
    // Channels 0 and 3 of the room are alike, which mustn't hide that there are five.
    const Sound recording{48000, noiseChannels(2, 3001, 1)};
    const Samples first = noise(2500, 3);
    const Sound room{48000, {first, noise(2500, 4), noise(2500, 5), first, noise(2500, 6)}};
    writeSound(in, recording);
    writeSound(response, room);
    std::vector<Samples> expected;
    for (size_t c = 0; c < 7; ++c)
        expected.push_back(convolved(recording.channels[c % 2], room.channels[c % 5]));

    const std::pair<Words, size_t> cases[] = {
        {{"--channels", "7"}, 7},
        {{"--zl", "off", "--ll", "off", "--block", "300"}, 5},
        {{"--max-fft", "512", "--block", "77"}, 5},
        {{"--zl", "off", "--max-fft", "512", "--block", "4096"}, 5},
        {{"--channels", "1", "--block", "1", "--ll", "off"}, 1}};
    for (const auto &[words, channels] : cases) {
        expected.resize(channels);
        expectSound(render(Words{"--ir", response, "--wet", "0", "--dry", "-inf"} + words),
                    expected, tolerance);
    }
}

TEST_F(SoundingCommands, RenderGoesOnBehindTheInputForAsLongAsAskedFor) {
    writeSound(in, {1000, {noise(400, 12)}});
    writeSound(response, {1000, {noise(300, 13)}});
    for (const auto &[tail, frames] :
         {std::pair{Words{}, 699u}, {{"--tail", "0"}, 400u}, {{"--tail", "1.5"}, 1900u}})
        EXPECT_EQ(render(Words{"--ir", response} + tail).channels[0].size(), frames);
}

TEST_F(SoundingCommands, RenderRunsFilesAndStagesInTheOrderOfTheLine) {
    writeSound(in, {48000, {{1.0, 0.0, 0.0, 0.0}}});
    writeSound(response, {48000, {{1.0, 0.5}}});
    const std::string second = folder.file("second.wav");
    writeSound(second, {48000, {{0.0, 0.25}}});
    const Words levels{"--wet", "0", "--dry", "-inf", "--tail", "0"};
    const std::string half = "BASICEDIT 0.5 0 20000 1 0 1 0";
    const std::pair<Words, Samples> cases[] = {
        {{"--ir", response, "--stage", half, "--ir", second}, {0.5, 0.5, 0.0, 0.0}},
        {{"--ir", response, "--ir", second, "--stage", half}, {0.5, 0.375, 0.0, 0.0}},
        {{"--ir", response, "--stage", "!" + half, "--stage", "REVERSE"}, {0.5, 1.0, 0.0, 0.0}}};
    for (const auto &[words, expected] : cases)
        expectSound(render(words + levels), {expected}, 1e-6);
    EXPECT_NE(output.find("2. !BASICEDIT"), std::string::npos) << output;
}

TEST_F(SoundingCommands, RenderSetsEachParameterFromItsOption) {
    writeSound(in, {48000, {noise(10, 14)}});
    render({"--wet", "-6", "--dry", "3.5", "--pre-verb", "120", "--max-fft", "1024", "--width",
            "-0.5", "--pan", "0.25", "--zl", "off", "--ll", "off"});
    for (const char *shown : {"Wet -6.0 dB", "Dry +3.5 dB", "Pre-verb 120 ms", "Max FFT size 1024",
                              "Width -0.50", "Pan 0.25", "ZL mode 0", "LL mode 0"})
        EXPECT_NE(output.find(shown), std::string::npos) << shown << " in\n" << output;
}

TEST_F(SoundingCommands, RenderSoundsTheSameFromASavedState) {
    writeSound(in, {44100, {noise(2000, 15), noise(2000, 16)}});
    writeSound(response, {44100, {noise(900, 17)}});
    const std::string state = folder.file("state");
    // A state holds single precision, so only values that are exact there come back the same.
    const Sound first =
        render({"--ir", response, "--stage", "!NORM", "--stage", "FILT 0.5 0.0078125", "--wet",
                "-3", "--width", "0.5", "--pan", "-0.4", "--zl", "off", "--save-state", state});
    expectSound(render({"--load-state", state}), first.channels, 0.0);
    EXPECT_NE(output.find("2. !NORM"), std::string::npos) << output;
}

/// Whether a process has a file open in the folder, other than `known`, with or without a name.
bool writesInto(const TestFolder &folder, pid_t process, const std::string &known) {
    std::error_code error;
    const std::string files = "/proc/" + std::to_string(process) + "/fd";
    for (const auto &entry : std::filesystem::directory_iterator(files, error)) {
        const std::string file = std::filesystem::read_symlink(entry, error);
        if (file.starts_with(folder.file("")) && file != known)
            return true;
    }
    return false;
}

TEST_F(SoundingCommands, RenderLeavesNothingBehindWhenItIsEndedOrKilled) {
    writeSound(in, {8000, {noise(8000, 18)}});
    for (const int signal : {SIGTERM, SIGKILL}) {
        const pid_t child = startProgram({"render", in, out, "--tail", "80000", "--block", "1"});
        const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!writesInto(folder, child, in) && std::chrono::steady_clock::now() < patience)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_TRUE(writesInto(folder, child, in));
        kill(child, signal);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_EQ(namesIn(folder), std::vector<std::string>{"in.wav"});
    }
}

TEST_F(SoundingCommands, ImpulseGivesBackAFileInEveryChannelAtItsOwnRate) {
    for (const size_t channels : {1, 2, 3, 6}) {
        const Sound room{96000, noiseChannels(channels, 20000, 1)};
        writeSound(response, room);
        const Sound result = impulse({"--ir", response});
        EXPECT_EQ(result.rate, 96000);
        expectSound(result, room.channels, 1e-5);
    }
}

TEST_F(SoundingCommands, ImpulseRunsGeneratorsAtTheRateAskedFor) {
    // Clicks each 10 ms for 30 ms, at -6.02 dB and with no fall.
    const Sound result = impulse({"--rate", "8000", "--stage", "ECHOGEN 0 30 10 0.5 0.5 0 0.5"});
    Samples expected(240);
    expected[0] = expected[80] = expected[160] = 0.5;
    EXPECT_EQ(result.rate, 8000);
    expectSound(result, {expected}, 1e-6);
    // A response of a single sample.
    expectSound(impulse({"--rate", "1000", "--stage", "ECHOGEN 0 1 10 0.5 0.5 0 0.5"}), {{0.5}},
                1e-6);
}

TEST_F(SoundingCommands, MeasuringGivesBackARoomFromItsStartOrFromItsFirstSound) {
    const std::string tone = folder.file("tone.wav");
    const Sound known{48000, {room(300, 5000, 1), room(700, 4600, 2)}};
    writeSound(response, known);
    runWell({"tone", tone, "--rate", "48000"});
    runWell({"render", tone, in, "--ir", response, "--wet", "-20", "--dry", "-inf"});
    for (const auto &[floor, start] : {std::pair{"-150", 0}, {"-120", 300}}) {
        const Sound got = run({"deconvolve", in, tone, out, "--floor", floor});
        ASSERT_EQ(got.channels.size(), 2u);
        for (size_t c = 0; c < 2; ++c) {
            Samples expected(known.channels[c].begin() + start, known.channels[c].end());
            expected.resize(got.channels[c].size());
            for (double &sample : expected)
                sample *= 0.1;
            // -150 dB below the peak of 0.08.
            EXPECT_LT(largestDifference(got.channels[c], expected), 2.5e-9);
        }
    }
}

TEST_F(SoundingCommands, ToneTakesAnyPositiveLengthAndRate) {
    // The last two would be too much for a file if the size were reckoned otherwise.
    const std::tuple<Words, int, size_t, double> cases[] = {
        {{}, 44100, 176400, 44100.0},
        {{"--length", "0.25", "--rate", "4800.5"}, 4800, 1200, 4800.5},
        {{"--length", "0.00001"}, 44100, 0, 44100.0},
        {{"--length", "6e6", "--rate", "0.01"}, 1, 60000, 0.01},
        {{"--length", "1e-6", "--rate", "1e7"}, 10000000, 10, 1e7},
    };
    for (const auto &[words, fileRate, frames, rate] : cases) {
        const Sound tone = run(Words{"tone", out} + words);
        EXPECT_EQ(tone.rate, fileRate);
        ASSERT_EQ(tone.channels.size(), 1u);
        ASSERT_EQ(tone.channels[0].size(), frames);
        if (frames > 0) {
            EXPECT_NEAR(tone.channels[0][1], std::sin(std::numbers::pi * 40.0 / rate), 1e-11);
        }
    }
}

TEST(ListingCommands, ShowWhatTheModuleHas) {
    const std::string lists = runWell({"stages"}) + runWell({"parameters"});
    for (const char *part : {"CHANTOOL", "ECHOGEN", "FILELDR", "FILT", "NORM", "VERBGEN", "REVERSE",
                             "BASICEDIT", "0.250000", "Wet", "-12.0", "-inf to +6.0", "0 to 3000",
                             "32 to 16384", "-1.00 to 1.00", "ZL mode", "LL mode", "--pre-verb"})
        EXPECT_NE(lists.find(part), std::string::npos) << part << " in\n" << lists;
    for (const Words &words : {Words{"help"}, {"help", "help"}})
        EXPECT_EQ(runWell(words), runWell({"--help"}));
    for (const char *command : {"render", "impulse", "tone", "deconvolve", "stages", "parameters"})
        EXPECT_EQ(runWell({"help", command}), runWell({command, "--help"}));
}

} // namespace
} // namespace tonvale::test
