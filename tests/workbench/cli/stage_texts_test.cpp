#include "workbench/cli/program_run.h"
#include "workbench/sounds.h"

#include <algorithm>

namespace tonvale::test {
namespace {

struct StageTexts : CommandTest {
    /// What `words` write.
    Sound sound(const Words &words) {
        runWell(words + Words{"--depth", "64"});
        return readSound(out);
    }
    Words impulse(const std::string &rate, const Words &stages) const {
        Words words{"impulse", out, "--rate", rate, "--stage", "ECHOGEN 3 20 2 1 0.5 0 0.5"};
        for (const std::string &stage : stages)
            words = words + Words{"--stage", stage};
        return words;
    }
};

TEST_F(StageTexts, SoundTheSameWithUnitsAndInPlainNumbers) {
    struct Case {
        const char *rate;
        Words units, plain;
    };
    const std::string half = "0.50118723362727224"; // -6 dB
    const Case cases[] = {
        {"48000", {"FILT 6kHz 240Hz"}, {"FILT 0.25 0.01"}},
        {"96000", {"FILT 6KHZ 0.24khz"}, {"FILT 0.125 0.005"}},
        {"8000", {"FILT 0.5 1000hz"}, {"FILT 0.5 0.25"}},
        {"48000", {"NORM -6dB"}, {"NORM " + half}},
        {"48000", {"NORM -6DB", "REVERSE -infdB 0db 0"}, {"NORM " + half, "REVERSE 0 1 0"}},
        {"48000", {"REVERSE +6dB -1dB 1"}, {"REVERSE 1.9952623149688795 0.891250938133746 1"}},
        {"48000",
         {"BASICEDIT -6dB 0.001s 12ms 1 5MS 1 0"},
         {"BASICEDIT " + half + " 1 12 1 5 1 0"}},
        {"48000", {"VERBGEN 0.01s .05S -6dB 50 50 1"}, {"VERBGEN 10 50 " + half + " 50 50 1"}},
        {"48000", {"ECHOGEN 1ms 0.02s 5 0dB -6dB 0s 0.5"}, {"ECHOGEN 1 20 5 1 " + half + " 0 0.5"}},
    };
    for (const auto &[rate, units, plain] : cases) {
        const Sound expected = sound(impulse(rate, plain));
        EXPECT_GT(std::ranges::max(expected.channels.at(0)), 0.01);
        EXPECT_LE(largestDifference(sound(impulse(rate, units)).channels, expected.channels), 1e-7)
            << units.front() << " at " << rate;
    }
}

TEST_F(StageTexts, CountFrequenciesByTheRateOfEachRecording) {
    const Words units{"--wet",   "0",       "--dry",   "-inf",
                      "--stage", "ECHOGEN", "--stage", "FILT 2kHz 0"};
    for (const auto &[rate, lowpass] : {std::pair{16000.0, "0.25"}, {40000.0, "0.1"}}) {
        writeSound(in, {rate, {noise(500, 1)}});
        Words plain = units;
        plain.back() = std::string("FILT ") + lowpass + " 0";
        const Sound expected = sound(Words{"render", in, out} + plain);
        EXPECT_LE(
            largestDifference(sound(Words{"render", in, out} + units).channels, expected.channels),
            1e-7);
    }
}

TEST_F(StageTexts, NameFilesWithQuotesOfBothKinds) {
    const std::string odd = folder.file("it's a \"room\" 60.wav"), state = folder.file("state");
    const Channels room = noiseChannels(2, 300, 2);
    writeSound(odd, {44100, room});
    const Words moved{"--stage", "FILELDR \"" + odd + "\" 316"};
    for (const Words &words : {Words{"--ir", odd}, {"--stage", "FILELDR '" + odd + "'"}})
        EXPECT_LE(largestDifference(sound(Words{"impulse", out} + words).channels, room), 1e-4);
    EXPECT_EQ(sound(Words{"impulse", out} + moved).channels.size(), 3u);
    writeSound(in, {44100, {noise(100, 3)}});
    const Words wet{"render", in, out, "--stage", "NORM"};
    const Sound rendered = sound(wet + Words{"--ir", odd, "--save-state", state});
    const Sound again = sound({"render", in, out, "--load-state", state});
    EXPECT_EQ(largestDifference(again.channels, rendered.channels), 0.0);
}

TEST_F(StageTexts, AreWarnedOfWhereTheyCantBeMeant) {
    writeSound(in, {48000, {noise(100, 1)}});
    const std::string longest = folder.file("long.wav"), tooLong = folder.file("longer.wav");
    for (const auto &[path, frames] : {std::pair{longest, 3145728}, {tooLong, 3145729}}) {
        Samples samples(static_cast<size_t>(frames));
        samples.front() = 0.5;
        writeSound(path, {48000, {samples}});
    }
    const std::pair<Words, Words> cases[] = {
        {{"VERBGEN", "FILT 22.05kHz 0Hz", "NORM 12dB", "REVERSE"}, {}},
        {{"CHANTOOL", "ECHOGEN", "VERBGEN", "BASICEDIT"}, {}},
        {{"VERBGEN", "!NORM -100", "!FILT 30kHz 0"}, {}},
        {{"FILELDR '" + longest + "'"}, {}},
        {{"VERBGEN", "FILT 25kHz 0"}, {"beyond"}},
        {{"VERBGEN 0 1s 1 99 50 -1.5"}, {"room size 99 is beyond 30 to 98", "stereo width"}},
        {{"VERBGEN", "NORM -0.5"}, {"beyond"}},
        {{"VERBGEN", "BASICEDIT 12.1dB 0 20001 1 0 1 0"}, {"+12 dB", "beyond"}},
        {{"ECHOGEN", "CHANTOOL 0 128 1 1 0"}, {"beyond"}},
        {{"VERBGEN 0 0 1 50 50 1"}, {"empty"}},
        {{"!VERBGEN"}, {"empty"}},
        {{"FILELDR '" + tooLong + "'"}, {"longer.wav is cut at"}},
    };
    for (const auto &[stages, wanted] : cases) {
        Words chain;
        for (const std::string &stage : stages)
            chain = chain + Words{"--stage", stage};
        for (const Words &command : {Words{"impulse", out, "--rate", "48000"},
                                     {"render", in, out, "--dry", "-inf", "--wet", "-90"}}) {
            SCOPED_TRACE(command[0] + " " + stages.back());
            std::filesystem::remove(out);
            const ProgramResult strict = runProgram(command + chain + Words{"--strict"});
            EXPECT_EQ(strict.status, wanted.empty() ? 0 : 1);
            EXPECT_TRUE(std::filesystem::exists(out));
            size_t lines = 0;
            for (const std::string &word : wanted)
                EXPECT_NE(strict.errors.find(word), std::string::npos) << strict.errors;
            for (size_t at = 0;
                 (at = strict.errors.find("tonvale: warning: ", at)) != std::string::npos; ++at)
                ++lines;
            EXPECT_EQ(lines, wanted.size()) << strict.errors;
        }
    }
}

} // namespace
} // namespace tonvale::test
