#include "workbench/cli/program_run.h"
#include "workbench/sounds.h"

#include <algorithm>

namespace tonvale::test {
namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

/// What a user can get wrong, with files in a folder of their own.
struct WrongUse : CommandTest {
    std::string voice = folder.file("voice.wav");
    std::string program = TONVALE_PROGRAM;

    void SetUp() override { writeSound(voice, {48000, {noise(100, 1)}}); }

    /// The program must end with `status`, say `reason` in one line, and leave the folder alone.
    void expectRefused(const Words &words, int status, const std::string &reason) {
        const auto before = namesIn(folder);
        const ProgramResult result = runProgram(words, program);
        EXPECT_EQ(result.status, status) << result.errors;
        EXPECT_TRUE(result.errors.starts_with("tonvale: ")) << result.errors;
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
        EXPECT_NE(result.errors.find(reason), std::string::npos)
            << "no '" << reason << "' in " << result.errors;
        EXPECT_EQ(namesIn(folder), before);
    }
};

TEST_F(WrongUse, OfInputFilesIsNamedInOneLine) {
    std::ofstream(folder.file("text.wav")) << "Dear diary, today I recorded nothing.\n";
    std::filesystem::copy(voice, folder.file("cut.wav"));
    std::filesystem::resize_file(folder.file("cut.wav"), 30);
    writeSound(folder.file("empty.wav"), {48000, {{}}});
    writeSound(folder.file("wide.wav"), {48000, std::vector<Samples>(200, noise(10, 2))});
    for (const char *name : {"missing.wav", "text.wav", "cut.wav", "empty.wav", "wide.wav"})
        expectRefused({"render", folder.file(name), out}, failed, name);
    for (const std::string name : {"missing.wav", "text.wav", "cut.wav"}) {
        const std::string path = folder.file(name);
        expectRefused({"render", voice, out, "--ir", path}, failed, name);
        expectRefused({"render", voice, out, "--load-state", path}, failed, name);
        expectRefused({"impulse", out, "--stage", "FILELDR '" + path + "' 60"}, failed, name);
        expectRefused({"deconvolve", path, voice, out}, failed,
                      name + ": Error opening file to be deconvolved");
        expectRefused({"deconvolve", voice, path, out}, failed, name + ": Error opening test tone");
    }
    expectRefused({"render", voice, out, "--ir", folder.file("empty.wav")}, failed,
                  "holds no samples");
    expectRefused({"deconvolve", voice, folder.file("empty.wav"), out}, failed,
                  "empty.wav: One or both files silent");
    // A state whose file has gone.
    const std::string state = folder.file("state");
    writeSound(response, {48000, {noise(10, 3)}});
    runWell({"render", voice, out, "--ir", response, "--save-state", state});
    std::filesystem::remove(response);
    expectRefused({"render", voice, out, "--load-state", state}, failed, response);
    expectRefused({"render", voice, out, "--load-state", ""}, failed, "state to load is missing");
    writeSound(folder.file("other.wav"), {44100, {noise(10, 2)}});
    expectRefused({"deconvolve", voice, folder.file("other.wav"), out}, failed,
                  "other.wav: Sample rate mismatch between file to be deconvolved and test tone");
}

TEST_F(WrongUse, OfOutputFilesIsNamedInOneLine) {
    expectRefused({"render", voice, folder.file("no/folder/out.wav")}, failed, "no/folder");
    expectRefused({"render", voice, folder.file("")}, failed, folder.file(""));
    expectRefused({"render", voice, "/dev/null"}, failed, "/dev/null");
    for (const std::string name : {"out.mp3", "out", "out.wav.txt"})
        expectRefused({"render", voice, folder.file(name)}, failed, "name ends in .wav");
    for (const std::string depth : {"32", "64"})
        expectRefused({"render", voice, folder.file("out.FLAC"), "--depth", depth}, failed,
                      "can't hold " + depth + " bits");
    expectRefused({"render", voice, folder.file("out.flac"), "--channels", "9"}, failed,
                  "9 channels");
    expectRefused({"render", voice, ""}, failed, "output file is missing");
    // More samples than can be counted, more than a double, and more bytes a second than the header
    // can hold.
    for (const auto &[seconds, rate] :
         {std::pair{"60000", "44100"}, {"1e300", "1e300"}, {"1e-12", "2e9"}})
        expectRefused({"tone", out, "--length", seconds, "--rate", rate}, failed,
                      "more than a tone can have");
}

TEST_F(WrongUse, OfAnInputAsOutputLeavesTheInputWhole) {
    const std::string link = folder.file("link.wav");
    std::filesystem::create_symlink(voice, link);
    expectRefused({"render", voice, voice}, failed, "voice.wav");
    expectRefused({"render", voice, link}, failed, "link.wav");
    expectRefused({"impulse", voice, "--ir", voice}, failed, "voice.wav");
    expectRefused({"deconvolve", voice, link, link}, failed, "link.wav");
    EXPECT_EQ(largestDifference(readSound(voice).channels.at(0), noise(100, 1)), 0.0);
}

TEST_F(WrongUse, OfStageTextsIsNamedInOneLine) {
    const std::pair<const char *, Words> cases[] = {
        {"no stage", {"GRANULAR 1 2", "filt 1 0"}},
        {"cut short", {"", "!", "FILT 0.5", "FILELDR"}},
        {"closing quote", {"FILELDR \"/room.wav"}},
        {"2 values", {"FILT 0.5 0.1 7"}},
        {"no number", {"FILT 0.5 nan"}},
        {"no whole number", {"CHANTOOL 0 1.5 0 1 0"}},
        {"lowpass takes Hz or kHz", {"FILT 5dB 0"}},
        {"highpass takes Hz or kHz", {"FILT 1 5s"}},
        {"takes dB", {"NORM 3Hz"}},
        {"takes ms or s", {"VERBGEN 1kHz 1 1 50 50 1"}},
        {"room size takes no unit", {"VERBGEN 0 1s 0dB 50dB 50 1"}},
        {"takes no unit", {"BASICEDIT 0dB 0s 1s 2times 0 1 0", "CHANTOOL 0s 1 0 1 0"}},
        {"no number", {"NORM infdB", "NORM 9000dB", "NORM -inf", "NORM 1,5dB"}}};
    for (const auto &[reason, texts] : cases)
        for (const std::string &text : texts)
            expectRefused({"impulse", out, "--stage", text}, failed, reason);
    expectRefused({"impulse", out}, failed, "empty");
}

TEST_F(WrongUse, OfOptionsEndsWithStatusTwo) {
    const Words wrong[] = {
        {"--block", "0"},     {"--block", "1.5"},
        {"--block", "65537"}, {"--channels", "129"},
        {"--tail", "nan"},    {"--tail", "-1"},
        {"--depth", "17"},    {"--wet", "inf"},
        {"--dry", "1e9"},     {"--pre-verb", "3001"},
        {"--zl", "maybe"},    {"--ir"},
        {"--loud"},           {"third"},
        {"--wet", "12"},      {"--into", ""},
        {"--type", "flac"},   {"--true-stereo", "--channels", "2"},
    };
    for (const Words &words : wrong)
        expectRefused(Words{"render", voice, out} + words, wrongUsage, words[0]);
    for (const Words &words : {Words{"--rate", "0"}, {"--length", "-1"}, {"--length", "inf"}})
        expectRefused(Words{"tone", out} + words, wrongUsage, words[0]);
    expectRefused({"deconvolve", voice, voice, out, "--floor", "-90.5"}, wrongUsage, "--floor");
    expectRefused({"impulse", out, "--rate", "0"}, wrongUsage, "--rate");
    expectRefused({"render", voice}, wrongUsage, "OUT");
    expectRefused({"sing"}, wrongUsage, "sing");
    expectRefused({"help", "sing"}, wrongUsage, "sing");
    expectRefused({}, wrongUsage, "command");
}

TEST_F(WrongUse, OfAModuleThatIsNoneOfThisKindIsNamedInOneLine) {
    const std::string bytes =
        contents(std::filesystem::path(program).replace_filename("tonvale.so"));
    program = folder.file("tonvale");
    std::filesystem::copy(TONVALE_PROGRAM, program);
    expectRefused({"stages"}, failed, "tonvale.so");
    // What made a record of another kind can't be ended.
    setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    // The name of the entry point, then the mark of the record that it makes.
    const std::pair<std::string, std::string> spoilt[] = {
        {"VSTPluginMain", "has no VSTPluginMain"}, {"PtsV", "isn't one that this host can run"}};
    for (const auto &[mark, reason] : spoilt) {
        std::string module = bytes;
        for (size_t at = 0; (at = module.find(mark, at)) != std::string::npos;)
            module[at] = '?';
        std::ofstream(folder.file("tonvale.so"), std::ios::binary) << module;
        expectRefused({"stages"}, failed, reason);
    }
    unsetenv("LSAN_OPTIONS");
}

} // namespace
} // namespace tonvale::test
