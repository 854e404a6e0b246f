#include "workbench/cli/program_run.h"
#include "workbench/cli/sound_file.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace tonvale::test {
namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

std::string bytesOf(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeBytes(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// What a user can get wrong, with files in a folder of their own.
class WrongUse : public testing::Test {
  protected:
    TemporaryFolder folder;
    std::string voice = folder / "voice.wav";
    std::string out = folder / "out.wav";

    void SetUp() override { writeSound(voice, {48000, {noise(100, 1)}}); }

    /// The program must end with `status`, say `reason` in one line, and leave the folder alone.
    void expectRefused(const Words &words, int status, const std::string &reason) {
        const auto before = folder.names();
        const ProgramResult result = runProgram(words);
        EXPECT_EQ(result.status, status) << result.errors;
        EXPECT_TRUE(result.errors.starts_with("tonvale: ")) << result.errors;
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
        EXPECT_NE(result.errors.find(reason), std::string::npos)
            << "no '" << reason << "' in " << result.errors;
        EXPECT_EQ(folder.names(), before);
    }
};

TEST_F(WrongUse, OfInputFilesIsNamedInOneLine) {
    writeBytes(folder / "text.wav", "Dear diary, today I recorded nothing.\n");
    writeBytes(folder / "cut.wav", bytesOf(voice).substr(0, 30));
    writeSound(folder / "empty.wav", {48000, {{}}});
    writeSound(folder / "wide.wav", {48000, std::vector<Samples>(200, noise(10, 2))});
    for (const char *name : {"missing.wav", "text.wav", "cut.wav", "empty.wav", "wide.wav"})
        expectRefused({"render", folder / name, out}, failed, name);
    for (const char *name : {"missing.wav", "text.wav", "cut.wav"}) {
        expectRefused({"render", voice, out, "--ir", folder / name}, failed, name);
        expectRefused({"render", voice, out, "--load-state", folder / name}, failed, name);
        expectRefused({"impulse", out, "--stage", "FILELDR '" + folder / name + "' 60"}, failed,
                      name);
    }
}

TEST_F(WrongUse, OfOutputFilesIsNamedInOneLine) {
    expectRefused({"render", voice, folder / "no/folder/out.wav"}, failed, "no/folder");
    expectRefused({"render", voice, folder / ""}, failed, folder / "");
    expectRefused({"render", voice, "/dev/null"}, failed, "/dev/null");
    expectRefused({"render", voice, folder / "out.flac"}, failed, ".wav");
    expectRefused({"render", voice, out, "--save-state", folder / "no/state"}, failed, "no/state");
}

TEST_F(WrongUse, OfAnInputAsOutputLeavesTheInputWhole) {
    const std::string before = bytesOf(voice);
    std::filesystem::create_symlink(voice, folder / "link.wav");
    expectRefused({"render", voice, voice}, failed, "voice.wav");
    expectRefused({"render", voice, folder / "link.wav"}, failed, "link.wav");
    expectRefused({"impulse", voice, "--ir", voice}, failed, "voice.wav");
    EXPECT_EQ(bytesOf(voice), before);
}

TEST_F(WrongUse, OfStageTextsIsNamedInOneLine) {
    const std::pair<const char *, const char *> cases[] = {
        {"GRANULAR 1 2", "no stage 'GRANULAR'"},
        {"filt 1 0", "no stage 'filt'"},
        {"", "cut short"},
        {"!", "cut short"},
        {"FILT 0.5", "cut short"},
        {"VERBGEN 0 1000 1 50 50", "cut short"},
        {"FILELDR", "cut short"},
        {"FILELDR \"/room.wav", "closing quote"},
        {"FILT 0.5 0.1 7", "2 values"},
        {"FILT 0.5 high", "no number"},
        {"FILT 0.5 nan", "no number"},
        {"CHANTOOL 0 1.5 0 1 0", "no whole number"},
    };
    for (const auto &[text, reason] : cases)
        expectRefused({"impulse", out, "--stage", text}, failed, reason);
    expectRefused({"impulse", out}, failed, "empty");
    expectRefused({"impulse", out, "--stage", "VERBGEN 0 0 1 50 50 1"}, failed, "empty");
}

TEST_F(WrongUse, OfOptionsEndsWithStatusTwo) {
    const std::pair<Words, const char *> cases[] = {
        {{"--block", "0"}, "--block"},
        {{"--block", "1.5"}, "--block"},
        {{"--block", "65537"}, "--block"},
        {{"--channels", "129"}, "--channels"},
        {{"--tail", "nan"}, "--tail"},
        {{"--tail", "-1"}, "--tail"},
        {{"--depth", "17"}, "--depth"},
        {{"--wet", "nan"}, "--wet"},
        {{"--wet", "inf"}, "--wet"},
        {{"--dry", "1e9"}, "--dry"},
        {{"--pre-verb", "3001"}, "--pre-verb"},
        {{"--zl", "maybe"}, "--zl"},
        {{"--ir"}, "--ir"},
        {{"--loud"}, "--loud"},
        {{"third"}, "third"},
    };
    for (const auto &[more, reason] : cases) {
        Words words{"render", voice, out};
        words.insert(words.end(), more.begin(), more.end());
        expectRefused(words, wrongUsage, reason);
    }
    expectRefused({"render", voice}, wrongUsage, "OUT");
    expectRefused({"impulse", out, "--rate", "0"}, wrongUsage, "--rate");
    expectRefused({"sing"}, wrongUsage, "sing");
    expectRefused({}, wrongUsage, "command");
}

TEST_F(WrongUse, OfASavedStateWhoseFileHasGoneIsNamedInOneLine) {
    const std::string state = folder / "state";
    const std::string room = folder / "room.wav";
    writeSound(room, {48000, {noise(10, 3)}});
    ASSERT_EQ(runProgram({"render", voice, out, "--ir", room, "--save-state", state}).status, 0);
    std::filesystem::remove(room);
    expectRefused({"render", voice, out, "--load-state", state}, failed, "room.wav");
}

TEST(ListingCommands, ShowWhatTheModuleHas) {
    const std::string stages = runProgram({"stages"}).output;
    for (const char *key :
         {"CHANTOOL", "ECHOGEN", "FILELDR", "FILT", "NORM", "VERBGEN", "REVERSE", "BASICEDIT"})
        EXPECT_NE(stages.find(key), std::string::npos) << key;
    EXPECT_NE(stages.find("0.250000"), std::string::npos) << "the echo's last level\n" << stages;

    const std::string parameters = runProgram({"parameters"}).output;
    for (const char *part : {"Wet", "-12.0", "-inf to +6.0", "0 to 3000", "32 to 16384",
                             "-1.00 to 1.00", "ZL mode", "LL mode", "--pre-verb"})
        EXPECT_NE(parameters.find(part), std::string::npos) << part << " in\n" << parameters;
}

} // namespace
} // namespace tonvale::test
