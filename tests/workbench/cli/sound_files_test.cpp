#include "workbench/cli/program_run.h"
#include "workbench/cli/sound/wave_header.h"
#include "workbench/sounds.h"

#include <cmath>
#include <cstring>
#include <tuple>

namespace tonvale::test {
namespace {

struct SoundFiles : CommandTest {
    /// Runs a line of the shell, in which $T is the program and $IN and $OUT are files.
    int shell(const std::string &line) const {
        setenv("T", TONVALE_PROGRAM, 1);
        setenv("IN", in.c_str(), 1);
        setenv("OUT", out.c_str(), 1);
        setenv("ERRORS", folder.file("errors").c_str(), 1);
        return WEXITSTATUS(std::system(("{ " + line + "; } 2>$ERRORS >/dev/null").c_str()));
    }
    std::string errors() const { return contents(folder.file("errors")); }
};

TEST_F(SoundFiles, AreOfTheKindThatTheNameEndsIn) {
    const Channels sound = noiseChannels(2, 4001, 1);
    writeSound(in, {44100, sound});
    const std::tuple<std::string, Words, int> cases[] = {
        {"a.wav", {}, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
        {"a.WAV", {"--depth", "24"}, SF_FORMAT_WAV | SF_FORMAT_PCM_24},
        {"a.w64", {"--depth", "64"}, SF_FORMAT_W64 | SF_FORMAT_DOUBLE},
        {"a.w64", {"--depth", "24"}, SF_FORMAT_W64 | SF_FORMAT_PCM_24},
        {"a.flac", {}, SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
        {"a.Flac", {"--depth", "16"}, SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
        {"a.aif", {}, SF_FORMAT_AIFF | SF_FORMAT_PCM_24},
        {"a.aiff", {"--depth", "32"}, SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
    };
    // A link to a file that isn't there yet.
    std::filesystem::create_symlink("later.w64", folder.file("a.w64"));
    for (const auto &[name, words, format] : cases) {
        const std::string path = folder.file(name);
        runWell(Words{"render", in, path, "--wet", "-inf"} + words);
        SndfileHandle file(path);
        EXPECT_EQ(file.format() & ~SF_FORMAT_ENDMASK, format) << name;
        const double step = (format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16 ? 0x1p-14 : 0x1p-23;
        EXPECT_LT(largestDifference(readSound(path).channels, sound), step) << name;
    }
    EXPECT_TRUE(std::filesystem::is_regular_file(folder.file("later.w64")));
}

/// libsndfile must read, of a file with this header and as many bytes as it promises, the length.
TEST_F(SoundFiles, AreLargeWhereAPlainWavCantCountThem) {
    using namespace workbench;
    const int64_t most = int64_t{1} << 32;
    for (const auto container : {Container::wave, Container::wave64})
        for (const int depth : {16, 24, 32, 64})
            for (const bool room : {false, true})
                for (const int64_t bytes :
                     {int64_t{0}, int64_t{999}, most - 200, most - 40, most, 3 * most}) {
                    const SoundFormat format{container, depth, true};
                    SoundShape shape{1, 48000, 4, bytes / (depth / 8)};
                    const std::string header = waveHeader(format, shape, room);
                    const auto size = static_cast<int64_t>(header.size()) +
                                      *shape.frames * (depth / 8) +
                                      wavePadding(format, shape, *shape.frames);
                    std::ofstream(out, std::ios::binary) << header;
                    std::filesystem::resize_file(out, static_cast<uintmax_t>(size));
                    SndfileHandle file(out);
                    EXPECT_EQ(file.frames(), *shape.frames)
                        << depth << " bits, " << bytes << " bytes, " << header.substr(0, 4);
                    EXPECT_EQ(file.channels(), 1);
                    EXPECT_EQ(header.starts_with("RF64"),
                              container == Container::wave && size > most);
                    // Without a length there is room for the header of any.
                    shape.frames.reset();
                    if (room) {
                        EXPECT_EQ(waveHeader(format, shape, true).size(), header.size());
                    }
                }
}

TEST_F(SoundFiles, GoThroughPipes) {
    writeSound(in, {48000, noiseChannels(2, 3000, 1)}, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    const std::string words = " --stage NORM --stage 'VERBGEN 0 50 1 50 50 1'";
    EXPECT_EQ(shell("$T render $IN $OUT" + words), 0);
    const std::string expected = contents(out), header = contents(in);
    EXPECT_EQ(shell("cat $IN | $T render - -" + words + " | cat > $OUT"), 0) << errors();
    EXPECT_TRUE(contents(out) == expected);

    // Who writes into a pipe may not know the length; then a file is mended at its end.
    const size_t length = header.find("data") + 4;
    for (const uint32_t unknown : {0u, 0x7FFFF000u, 0xFFFFFFFFu}) {
        std::string bytes = header;
        std::memcpy(bytes.data() + length, &unknown, sizeof unknown);
        std::ofstream(in, std::ios::binary) << bytes;
        EXPECT_EQ(shell("cat $IN | $T render - $OUT" + words), 0) << errors();
        EXPECT_EQ(contents(out).substr(0, 4), "RIFF");
        EXPECT_EQ(SndfileHandle(out).frames(), 3000 + 2400 - 1);
        EXPECT_EQ(shell("cat $IN | $T render - - " + words + " > $OUT"), 0) << errors();
        EXPECT_EQ(contents(out).substr(4, 4), "\xFF\xFF\xFF\xFF");
        EXPECT_EQ(SndfileHandle(out).frames(), 3000 + 2400 - 1);
    }
    EXPECT_EQ(shell("$T render $IN - --tail 80000 --depth 64 | head -c 4 > $OUT"), 0);
    EXPECT_EQ(contents(out), "RF64");
    EXPECT_NE(errors().find("tonvale: standard output: can't be written"), std::string::npos);

    const std::pair<const char *, const char *> wrong[] = {
        {"$T render $IN - > /dev/full", "standard output: can't be written"},
        {"echo no sound at all | $T render - $OUT", "standard input: no WAV"},
        {"head -c 40 $IN | $T render - $OUT", "standard input: no WAV"},
        {"head -c 44 $IN | $T render - $OUT", "standard input: holds no samples"},
    };
    std::filesystem::remove(out);
    for (const auto &[line, reason] : wrong) {
        EXPECT_EQ(shell(line), 1);
        EXPECT_NE(errors().find(reason), std::string::npos) << errors();
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

TEST_F(SoundFiles, OfSixteenBitsHideTheSignalFromTheRoundingError) {
    const double step = 0x1p-15;
    const size_t frames = 100000;
    for (const double level : {0.0, 0.3, 0.5, 1000.25}) {
        writeSound(in, {48000, {Samples(frames, level * step), Samples(frames, level * step)}});
        runWell({"render", in, out, "--wet", "-inf", "--depth", "16"});
        const std::string first = contents(out);
        const Channels result = readSound(out).channels;
        double power[2] = {}, mean[2] = {}, product = 0.0, largest = 0.0, neighbours = 0.0;
        for (size_t i = 0; i < frames; ++i) {
            double error[2];
            for (const size_t c : {0, 1}) {
                error[c] = result[c][i] / step - level;
                mean[c] += error[c] / frames;
                power[c] += error[c] * error[c] / frames;
                largest = std::max(largest, std::fabs(error[c]));
            }
            product += error[0] * error[1] / frames;
            if (i > 0)
                neighbours += error[0] * (result[0][i - 1] / step - level) / frames;
        }
        // A triangle over ±1 and the rounding make a quarter of a squared step, whatever the level.
        for (const size_t c : {0, 1}) {
            EXPECT_NEAR(mean[c], 0.0, 0.01) << level;
            EXPECT_NEAR(power[c], 0.25, 0.01) << level;
        }
        EXPECT_NEAR(product, 0.0, 0.005);
        EXPECT_NEAR(neighbours, 0.0, 0.005);
        EXPECT_LE(largest, 1.5);
        runWell({"render", in, out, "--wet", "-inf", "--depth", "16"});
        EXPECT_TRUE(contents(out) == first);
        runWell({"render", in, out, "--wet", "-inf", "--depth", "16", "--no-dither"});
        EXPECT_EQ(readSound(out).channels[0], Samples(frames, std::nearbyint(level) * step));
    }
}

TEST_F(SoundFiles, KeepTheSpeakersOfTheInput) {
    const int speakers[] = {SF_CHANNEL_MAP_LEFT,      SF_CHANNEL_MAP_RIGHT,
                            SF_CHANNEL_MAP_CENTER,    SF_CHANNEL_MAP_LFE,
                            SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT};
    int map[6];
    std::copy(std::begin(speakers), std::end(speakers), map);
    {
        SndfileHandle file(in, SFM_WRITE, SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 6, 48000);
        file.command(SFC_SET_CHANNEL_MAP_INFO, map, sizeof map);
        const Samples samples = noise(600, 1);
        file.write(samples.data(), 600);
    }
    for (const std::string name : {"a.wav", "a.w64", "a.aiff"}) {
        const std::string path = folder.file(name);
        runWell({"render", in, path});
        std::fill_n(map, 6, 0);
        EXPECT_TRUE(SndfileHandle(path).command(SFC_GET_CHANNEL_MAP_INFO, map, sizeof map)) << name;
        EXPECT_TRUE(std::equal(map, map + 6, speakers)) << name;
    }
    EXPECT_EQ(shell("cat $IN | $T render - - | cat > $OUT"), 0);
    EXPECT_EQ(contents(out).substr(40, 4), std::string("\x3F\x00\x00\x00", 4));
    runWell({"render", in, out, "--channels", "5"});
    EXPECT_FALSE(SndfileHandle(out).command(SFC_GET_CHANNEL_MAP_INFO, map, sizeof map));
}

} // namespace
} // namespace tonvale::test
