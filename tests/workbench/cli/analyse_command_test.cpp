#include "workbench/analysis/responses.h"
#include "workbench/cli/program_run.h"
#include "workbench/sounds.h"

#include <nlohmann/json.hpp>

namespace tonvale::test {
namespace {

using Json = nlohmann::json;

/// Half as loud as full scale, so that no peak is cut.
Samples quiet(const ExponentialRoom &room, uint32_t seed) {
    Samples samples = response(room, 480, seed);
    for (double &sample : samples)
        sample *= 0.1;
    return samples;
}

class AnalyseCommand : public testing::Test {
  protected:
    TestFolder folder;
    std::string in = folder.file("room.wav");
    Samples room = quiet({48000, 0.8, 2, 60}, 1);
};

TEST_F(AnalyseCommand, PrintsWhatProgramsRelyOn) {
    writeSound(in, {48000, {room, quiet({48000, 0.8, 2, 60}, 2)}});
    const std::string small = folder.file("small \"8k\".wav");
    writeSound(small, {8000, {quiet({8000, 0.8, 2, 60}, 3)}});
    const Json files = Json::parse(runWell({"analyse", "--json", in, small}));
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]["file"], in);
    EXPECT_EQ(files[0]["rate"], 48000);
    EXPECT_EQ(files[1]["file"], small);
    EXPECT_LT(files[0]["iaccLate"].get<double>(), 0.3);
    EXPECT_TRUE(files[1]["iaccEarly"].is_null());
    ASSERT_EQ(files[0]["channels"].size(), 2u);
    const Json &channel = files[0]["channels"][1];
    EXPECT_EQ(channel["channel"], 2);
    EXPECT_NEAR(channel["start"].get<double>(), 0.01, 0.0002);
    EXPECT_NEAR(channel["noiseDb"].get<double>(), -80, 0.3);
    EXPECT_GT(channel["peakDb"].get<double>(), channel["noiseDb"].get<double>() + 60);
    const double hertz[] = {0, 63, 125, 250, 500, 1000, 2000, 4000, 8000};
    ASSERT_EQ(channel["bands"].size(), std::size(hertz));
    EXPECT_TRUE(channel["bands"][0]["hz"].is_null());
    for (size_t b = 1; b < std::size(hertz); ++b)
        EXPECT_EQ(channel["bands"][b]["hz"], hertz[b]);
    for (const char *const key : {"edt", "t20", "t30", "c50", "c80", "d50", "ts", "inr"})
        EXPECT_TRUE(channel["bands"][0].at(key).is_number()) << key;
    EXPECT_NEAR(channel["bands"][0]["t30"].get<double>(), 0.8, 0.02);
    EXPECT_EQ(files[1]["channels"][0]["bands"].back()["hz"], 2000);

    const Json thirds = Json::parse(runWell({"analyse", "--json", "--third", in}));
    EXPECT_EQ(thirds[0]["channels"][0]["bands"].size(), 25u);
    EXPECT_EQ(thirds[0]["channels"][0]["bands"][1]["hz"], 50);
}

TEST_F(AnalyseCommand, DrawsOneFile) {
    writeSound(in, {48000, {room}});
    const std::string picture = folder.file("room.png");
    EXPECT_NE(runWell({"analyse", "--picture", picture, in}).find("T30 s"), std::string::npos);
    EXPECT_TRUE(contents(picture).starts_with("\x89PNG"));
    EXPECT_EQ(runProgram({"analyse", "--picture", picture, in, in}).status, 2);
    EXPECT_EQ(runProgram({"analyse", "--picture", in, in}).status, 1);
    EXPECT_EQ(readSound(in).length(), room.size());
}

TEST_F(AnalyseCommand, WarnsOfWhatMakesAResponseDoubtfulAndOfNothingElse) {
    Samples clipped = room, cut = room, hopeless = room;
    for (double &sample : clipped)
        sample = std::clamp(sample, -0.08, 0.08);
    cut.resize(12000);
    hopeless[900] = std::nan("");
    const std::tuple<const char *, Samples, const char *> cases[] = {
        {"clean", room, ""},
        {"clipped", clipped, "clipped"},
        {"cut", cut, "stops before"},
        {"silence", Samples(48000), "silent"},
        {"noise", noise(48000, 4), ""},
        {"holes", hopeless, "finite"},
        {"one sample", {0.5}, "stops before"},
        {"wide", quiet({192000, 0.3, 2, 50}, 5), ""},
    };
    for (const auto &[name, samples, word] : cases) {
        SCOPED_TRACE(name);
        writeSound(in, {48000, {samples}});
        const ProgramResult result = runProgram({"analyse", "--json", "--strict", in});
        EXPECT_EQ(result.status, *word ? 1 : 0) << result.errors;
        EXPECT_EQ(result.errors.empty(), *word == 0) << result.errors;
        EXPECT_NE(result.errors.find(word), std::string::npos) << result.errors;
        EXPECT_EQ(Json::parse(result.output).size(), 1u);
    }
    const ProgramResult missing = runProgram({"analyse", in, folder.file("missing.wav")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.errors.find("missing.wav: no such file"), std::string::npos);
}

} // namespace
} // namespace tonvale::test
