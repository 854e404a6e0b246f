#include "lv2/lv2_host.h"
#include "workbench/cli/program_run.h"
#include "workbench/sounds.h"

#include <cmath>
#include <cstdio>
#include <lv2/presets/presets.h>

namespace tonvale::test {
namespace {

constexpr double farBelow = -120.0; ///< dB, of single precision at the ports

std::string fileChain(const std::string &path) {
    return "FILELDR \"" + path + "\" 60";
}

struct Likeness {
    const char *plugin;
    size_t responses;
    bool zl, ll;
    uint32_t announced;

    friend void PrintTo(const Likeness &like, std::ostream *out) {
        *out << like.plugin << ", " << like.announced << " frames";
    }
};

class Lv2Sound : public testing::TestWithParam<Likeness> {};

TEST_P(Lv2Sound, IsThatOfTonvaleRender) {
    const Likeness &like = GetParam();
    const TestFolder folder;
    Lv2Host host(like.plugin, {.announced = like.announced});
    Channels response = noiseChannels(like.responses, 30000, 7);
    for (Samples &channel : response)
        for (size_t i = 0; i < channel.size(); ++i)
            channel[i] *= 0.1 * std::exp(-1e-4 * static_cast<double>(i));
    const Channels input = noiseChannels(host.inputCount(), 50000, 3);
    const std::string in = folder.file("in.wav"), out = folder.file("out.wav");
    writeSound(folder.file("ir.wav"), {44100.0, response});
    // What reaches the ports is in single precision.
    writeSound(in, {44100.0, input}, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    const auto onOff = [](bool is) { return is ? "on" : "off"; };
    const std::array<const char *, 3> settings[] = {
        {"wet", "--wet", "-6"},         {"dry", "--dry", "-9"},
        {"pan", "--pan", "-0.3"},       {"preverb", "--pre-verb", "20"},
        {"width", "--width", "0.5"},    {"max_fft", "--max-fft", "2048"},
        {"zl", "--zl", onOff(like.zl)}, {"ll", "--ll", onOff(like.ll)}};
    std::vector<std::string> words{"render", in, out, "--ir", folder.file("ir.wav"), "--depth"};
    words.insert(words.end(), {"64", "--channels", std::to_string(host.outputCount())});
    for (const auto &[symbol, option, value] : settings) {
        words.insert(words.end(), {option, value});
        host.set(symbol, *value == 'o' ? value == std::string("on") : std::stof(value));
    }
    runWell(words);
    const Sound expected = readSound(out);
    host.activate();
    host.load(fileChain(folder.file("ir.wav")));
    const auto random = randomLengths(11, 8192);
    const Channels heard = host.process(input, random);
    ASSERT_EQ(heard.size(), expected.channels.size());
    for (size_t c = 0; c < heard.size(); ++c)
        EXPECT_LT(errorLevel(heard[c], expected.channels[c]), farBelow) << "channel " << c;
    EXPECT_GE(host.get("latency"), 882.0f);
}

INSTANTIATE_TEST_SUITE_P(Plugins, Lv2Sound,
                         testing::Values(Likeness{"mono", 1, true, true, 512},
                                         Likeness{"stereo", 2, true, true, 0},
                                         Likeness{"stereo", 2, false, true, 64},
                                         Likeness{"mono-to-stereo", 2, true, false, 0},
                                         Likeness{"true-stereo", 2, true, true, 1024},
                                         Likeness{"surround-5.1", 6, false, false, 0},
                                         Likeness{"surround-7.1", 3, true, true, 4096}));

TEST(Lv2TrueStereo, CrossesFourChannelsAndHasTheDrySignalOnce) {
    const TestFolder folder;
    const Channels r = noiseChannels(4, 300, 7), in = noiseChannels(2, 3000, 3);
    writeSound(folder.file("ir.wav"), {44100.0, r});
    Lv2Host host("true-stereo");
    host.set("wet", 0);
    host.set("dry", 6);
    host.activate();
    host.load(fileChain(folder.file("ir.wav")));
    const Channels heard = host.process(in, [] { return 333U; });
    const double dry = std::pow(10.0, 0.3);
    for (size_t side = 0; side < 2; ++side) {
        const Samples left = convolved(in[0], r[side]), right = convolved(in[1], r[2 + side]);
        Samples expected = in[side];
        for (size_t i = 0; i < expected.size(); ++i)
            expected[i] = dry * expected[i] + left[i] + right[i];
        EXPECT_LT(errorLevel(heard[side], expected), -100.0);
    }
    EXPECT_EQ(host.told().numbers["channels"], 4.0f);
}

TEST(Lv2Bypass, GivesTheInputAsLateAsTheLatencyAndKeepsTheTail) {
    Lv2Host host("stereo");
    host.set("preverb", 10);
    host.set("zl", 0);
    host.activate();
    host.load("VERBGEN\nNORM 0.5");
    const Channels in = noiseChannels(2, 40000, 3);
    const Channels sounding = host.process(in, [] { return 777U; });
    host.deactivate();
    host.activate();
    host.set("enabled", 0);
    const Channels bypassed = host.process(in, [] { return 777U; });
    for (size_t c = 0; c < 2; ++c)
        EXPECT_LT(errorLevel(bypassed[c], in[c]), -130.0);
    // It heard all that went by.
    host.set("enabled", 1);
    const Channels silence(2, Samples(40000));
    const Channels tail = host.process(silence, [] { return 777U; });
    EXPECT_GT(errorLevel(tail[0], silence[0]), 0.0);
    EXPECT_GT(std::fabs(sounding[0][30000]), 0.0);
}

TEST(Lv2Run, BearsNonsenseAtItsPorts) {
    const float none = std::nanf("");
    Lv2Host host("stereo", {.connectsMessages = false});
    host.activate();
    host.silence(0);
    EXPECT_EQ(host.get("latency"), 0.0f);
    const Channels in = noiseChannels(2, 8192, 3);
    const Channels before = host.process(in, [] { return 8192U; });
    host.deactivate();
    host.activate();
    for (const char *symbol : {"wet", "dry", "width", "pan", "preverb", "max_fft", "zl", "enabled"})
        host.set(symbol, none);
    host.set("freewheel", INFINITY);
    const Channels after = host.process(in, [] { return 4000U; });
    EXPECT_LT(largestDifference(before, after), 1e-6);

    Channels poison(2, Samples(4096, none));
    poison[1].assign(4096, HUGE_VAL);
    host.process(poison, [] { return 500U; });
    for (const Samples &channel : host.process(in, [] { return 500U; }))
        EXPECT_LT(errorLevel(channel, channel), 0.0);
    host.deactivate();
    host.activate();

    // All ports in one buffer.
    std::vector<float> one(512, 0.25f);
    for (const auto &ports : {host.audioIn, host.audioOut})
        for (const uint32_t port : ports)
            lilv_instance_connect_port(host.raw(), port, one.data());
    lilv_instance_run(host.raw(), 512);
    EXPECT_NEAR(one[100], 0.25f * (1.0f + 0.251188643f), 1e-6f);
}

TEST(Lv2Presets, AreEquallyLoud) {
    const LilvPlugin *plugin = Lv2Host("stereo").description();
    LilvWorld *world = lv2World();
    LilvNode *kind = lilv_new_uri(world, LV2_PRESETS__Preset);
    LilvNodes *presets = lilv_plugin_get_related(plugin, kind);
    EXPECT_EQ(lilv_nodes_size(presets), 10U);
    double least = 1e9, most = -1e9;
    LILV_FOREACH(nodes, i, presets) {
        const LilvNode *preset = lilv_nodes_get(presets, i);
        lilv_world_load_resource(world, preset);
        Lv2Host host("stereo", {.rate = 48000.0});
        LilvState *state = lilv_state_new_from_world(world, host.mapFeature(), preset);
        host.restore(state);
        lilv_state_free(state);
        host.set("dry", -60);
        host.activate();
        double energy = 0.0;
        const Channels out = host.process(noiseChannels(2, 480000, 5), [] { return 4096U; });
        for (const Samples &channel : out)
            for (const double sample : channel)
                energy += sample * sample;
        const double level = 10.0 * std::log10(energy / 960000.0);
        std::printf("%-40s %.2f dB\n", lilv_node_as_uri(preset), level);
        least = std::min(least, level);
        most = std::max(most, level);
    }
    EXPECT_LT(most - least, 1.0);
    lilv_nodes_free(presets);
    lilv_node_free(kind);
}

} // namespace
} // namespace tonvale::test
