#include "workbench/cli/program_run.h"
#include "workbench/cli/rendering/channel_plan.h"
#include "workbench/sounds.h"

#include <map>
#include <numeric>
#include <sched.h>
#include <set>
#include <sstream>

namespace tonvale::test {
namespace {

constexpr double sameSound = -135.0; // dB

struct Rendering : CommandTest {
    Sound render(const Words &more) {
        runWell(Words{"render", in, out, "--depth", "64"} + more);
        return readSound(out);
    }
};

double worstError(const Sound &actual, const Sound &expected) {
    double worst = -1000.0;
    if (actual.channels.size() != expected.channels.size() || actual.length() != expected.length())
        return 1000.0;
    for (size_t c = 0; c < expected.channels.size(); ++c)
        worst = std::max(worst, errorLevel(actual.channels[c], expected.channels[c]));
    return worst;
}

/// Lets this process, and what it starts, run on one core while it lives.
class OneCore {
  public:
    OneCore() {
        sched_getaffinity(0, sizeof before, &before);
        cpu_set_t one;
        CPU_ZERO(&one);
        for (size_t core = 0; CPU_COUNT(&one) == 0; ++core) {
            if (CPU_ISSET(core, &before))
                CPU_SET(core, &one);
        }
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OneCore() { sched_setaffinity(0, sizeof before, &before); }

  private:
    cpu_set_t before;
};

TEST_F(Rendering, SoundsTheSameOnTheQuickestEngineInAnyBlocksAndOnAnyCores) {
    struct Case {
        size_t inputs, responses, frames;
        Words more;
    };
    const Case cases[] = {
        {2, 2, 40000, {"--pre-verb", "11"}},
        {2, 5, 3000, {"--channels", "8", "--width", "0.4", "--pan", "-0.3"}},
        {3, 1, 70, {"--pan", "0.7", "--tail", "1"}},
        {1, 2, 20, {"--width", "-1", "--lead", "--pre-verb", "3"}},
        {4, 3, 1, {"--width", "0", "--channels", "7"}},
    };
    for (const Case &c : cases) {
        writeSound(in, {48000, noiseChannels(c.inputs, 60000, 1)});
        writeSound(response, {48000, noiseChannels(c.responses, c.frames, 40)});
        const Words words = Words{"--ir", response, "--wet", "-6"} + c.more;
        const Sound plugin = render(words + Words{"--zl", "on", "--ll", "on", "--block", "64"});
        EXPECT_LT(worstError(render(words), plugin), sameSound);
        EXPECT_LT(worstError(render(words + Words{"--block", "771"}), plugin), sameSound);
        const OneCore held;
        EXPECT_LT(worstError(render(words), plugin), sameSound);
    }
}

/// What copying stages leave of a response whose channel i is called i.
std::vector<int> copied(std::vector<int> channels, const std::vector<std::string> &stages) {
    for (const std::string &stage : stages) {
        std::istringstream text(stage);
        std::string key;
        size_t source, destination, action, count, total;
        text >> key >> source >> destination >> action >> count >> total;
        EXPECT_TRUE(key == "CHANTOOL" && action == 1 && text) << stage;
        const std::vector<int> before = channels;
        channels.resize(std::max(channels.size(), destination + count), -1);
        EXPECT_LE(channels.size(), 128u);
        for (size_t i = 0; i < count; ++i)
            channels[destination + i] = source + i < before.size() ? before[source + i] : -1;
        if (total > 0)
            channels.resize(total);
    }
    return channels;
}

TEST(ChannelPlan, GivesEachOutputItsInputAndItsResponseOnce) {
    using namespace workbench;
    for (int outputs : {1, 2, 3, 5, 8, 13, 128})
        for (int responses : {1, 2, 3, 5, 64, 65, 128})
            for (int lanes : {1, 2, 3, 8, 200})
                for (bool paired : {false, true}) {
                    const auto plan = planChannels({3, outputs, responses, paired, lanes});
                    EXPECT_LE(static_cast<int>(plan.size()), lanes);
                    std::set<int> seen;
                    std::vector<int> names(static_cast<size_t>(responses));
                    std::iota(names.begin(), names.end(), 0);
                    for (const LaneRoute &lane : plan) {
                        const auto heard = copied(names, lane.selection);
                        EXPECT_EQ(lane.isMirrored, lane.outputs[0] % 2 == 1);
                        EXPECT_FALSE(paired && lane.isMirrored);
                        for (size_t i = 0; i < lane.outputs.size(); ++i) {
                            const int c = lane.outputs[i];
                            EXPECT_TRUE(seen.insert(c).second);
                            EXPECT_EQ(lane.inputs.at(i), c % 3);
                            EXPECT_EQ(heard[i % heard.size()], c % responses);
                        }
                    }
                    EXPECT_EQ(static_cast<int>(seen.size()), outputs);
                }
}

TEST_F(Rendering, AddsBothSidesOfATrueStereoResponse) {
    const Channels paths = noiseChannels(4, 900, 7); // LL, LR, RL, RR
    writeSound(response, {48000, paths});
    const std::string left = folder.file("left.wav"), right = folder.file("right.wav");
    writeSound(left, {48000, {paths[0], paths[1]}});
    writeSound(right, {48000, {paths[2], paths[3]}});
    for (const size_t inputs : {1, 2}) {
        const Channels voices = noiseChannels(inputs, 5000, 3);
        writeSound(in, {48000, voices});
        for (const Words &files : {Words{"--ir", response}, {"--ir", left, "--ir", right}}) {
            const Sound result =
                render(files + Words{"--true-stereo", "--wet", "0", "--dry", "-20", "--pan", "-0.5",
                                     "--pre-verb", "0", "--tail", "0"});
            Sound expected{48000, {}};
            for (const size_t side : {0, 1}) {
                const Samples &l = voices[0], &r = voices[inputs - 1];
                const Samples a = convolved(l, paths[side]), b = convolved(r, paths[2 + side]);
                Samples sum(5000);
                for (size_t i = 0; i < sum.size(); ++i)
                    sum[i] = (side ? 0.5 : 1.0) * (a[i] + b[i]) + 0.1 * (side ? r : l)[i];
                expected.channels.push_back(sum);
            }
            EXPECT_LT(worstError(result, expected), -130.0);
        }
    }
    const std::pair<Words, const char *> wrong[] = {
        {{"--ir", left}, "4 channels"},
        {{"--ir", left, "--ir", response}, "two stereo files"},
        {{"--ir", left, "--ir", right, "--ir", left}, "one --ir"}};
    for (const auto &[words, reason] : wrong) {
        const auto result = runProgram(Words{"render", in, out, "--true-stereo"} + words);
        EXPECT_NE(result.status, 0);
        EXPECT_NE(result.errors.find(reason), std::string::npos) << result.errors;
    }
}

TEST_F(Rendering, KeepsWhatSoundsBeforeTheInputWhereItIsWanted) {
    const Samples voice = noise(3000, 5);
    writeSound(in, {48000, {voice}});
    writeSound(response, {48000, {click(1201, 100)}});
    const Words words{"--ir", response, "--wet", "0", "--dry", "0", "--pre-verb", "10"};
    // The click leads by 380 samples.
    for (const auto &[more, lead] :
         {std::pair{Words{}, 0u}, {{"--lead"}, 480u}, {{"--lead", "--zl", "off"}, 480u}}) {
        Samples expected(lead + 3000 + 720);
        for (size_t i = 0; i < voice.size(); ++i) {
            expected[lead + i] += voice[i];
            if (lead + i >= 380)
                expected[lead + i - 380] += voice[i];
        }
        EXPECT_LT(worstError(render(words + more), {48000, {expected}}), -130.0);
    }
}

TEST_F(Rendering, TreatsManyFilesAsItTreatsEach) {
    std::map<std::string, std::string> expected;
    Words inputs;
    for (const auto &[name, rate, channels] :
         {std::tuple{"a.wav", 48000.0, 1u}, {"b.aiff", 44100.0, 2u}, {"c.flac", 96000.0, 1u}}) {
        const std::string path = folder.file(name);
        writeSound(path, {rate, noiseChannels(channels, 5000, 1)},
                   path.ends_with("f")   ? SF_FORMAT_AIFF | SF_FORMAT_PCM_16
                   : path.ends_with("c") ? SF_FORMAT_FLAC | SF_FORMAT_PCM_16
                                         : doubleWav);
        inputs.push_back(path);
    }
    const Words words{"--stage", "VERBGEN 5 100 1 50 50 1", "--depth", "16"};
    for (const std::string &path : inputs) {
        const std::string one = folder.file("one.flac");
        runWell(Words{"render", path, one} + words);
        expected[std::filesystem::path(path).stem()] = contents(one);
    }
    writeSound(folder.file("none.wav"), {48000, {{}}});
    const std::string into = folder.file("new/folder"), state = folder.file("state");
    const Words many = Words{"render"} + inputs + Words{"--into", into, "--type", "flac"} + words;
    const auto result =
        runProgram(many + Words{folder.file("none.wav"), "missing.wav", "--save-state", state});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 2) << result.errors;
    EXPECT_NE(result.errors.find("none.wav: holds no samples"), std::string::npos);
    EXPECT_NE(result.errors.find("missing.wav: no such file"), std::string::npos);
    EXPECT_NE(contents(state), "");
    for (const auto &[name, bytes] : expected)
        EXPECT_TRUE(contents(into + "/" + name + ".flac") == bytes) << name;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(into), {}), 3);

    // Nothing is rendered where two would meet, or one would go where it came from.
    std::filesystem::remove_all(into);
    std::filesystem::copy(inputs[0], folder.file("c.wav"));
    for (const Words &wrong : {Words{folder.file("c.wav"), "--into", into},
                               {"-", "--into", into},
                               {"--into", folder.path.string(), "--type", "aiff"}}) {
        const auto refused = runProgram(Words{"render"} + inputs + wrong);
        EXPECT_EQ(refused.status, 1) << refused.output;
        EXPECT_FALSE(std::filesystem::exists(into));
    }
}

TEST_F(Rendering, LeavesTheOutputAsItWasWhereTheStateCantBeWritten) {
    writeSound(in, {48000, {noise(10, 1)}});
    std::ofstream(out) << "former";
    for (const auto &[state, reason] : {std::pair{folder.file("no/state"), "there is no folder"},
                                        {folder.path.string(), "a folder has this name"},
                                        {out, "have one name"},
                                        {in, "is being read"},
                                        {"", "is missing"}}) {
        const auto result = runProgram({"render", in, out, "--save-state", state});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find(reason), std::string::npos) << result.errors;
    }
    EXPECT_EQ(contents(out), "former");
}

TEST_F(Rendering, IsStrictWhereTheOutputClips) {
    writeSound(in, {48000, {{0.0, 0.9, -0.2}}});
    for (const Words &words : {Words{"render", in, out, "--dry", "6"},
                               {"impulse", out, "--ir", in, "--stage", "BASICEDIT 2 0 9 1 0 1 0"}})
        for (const auto &[depth, warned] : {std::pair{"16", 1}, {"24", 1}, {"32", 0}}) {
            std::filesystem::remove(out);
            EXPECT_EQ(runProgram(words + Words{"--depth", depth}).status, 0);
            const auto result = runProgram(words + Words{"--depth", depth, "--strict"});
            EXPECT_EQ(result.status, warned) << result.errors;
            EXPECT_EQ(result.errors.find("tonvale: warning: ") == 0 &&
                          result.errors.find("clipped") != std::string::npos,
                      warned == 1);
            EXPECT_TRUE(std::filesystem::exists(out));
        }
}

} // namespace
} // namespace tonvale::test
