#include "workbench/cli/program_run.h"
#include "workbench/cli/sound_file.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <tuple>

namespace tonvale::test {
namespace {

constexpr const char *street = "/usr/share/jconvolver/config-files/demo-reverbs/street2-L.wav";

/// A direct sound behind `delay` samples, then noise that falls by 60 dB.
Samples room(size_t delay, size_t frames, uint32_t seed) {
    Samples samples = noise(delay + frames, seed);
    std::fill_n(samples.begin(), delay, 0.0);
    for (size_t i = 0; i < frames; ++i)
        samples[delay + i] *= 0.2 * std::pow(1e-3, static_cast<double>(i) / frames);
    samples[delay] = 0.8;
    return samples;
}

/// How the tone is made and played.
struct Road {
    const char *name;
    const char *depth;
    const char *seconds;
    const char *level; ///< of the recording against the tone, dB
    double error;      ///< of the response against its own peak, dB
};

class MeasuredRoom : public testing::TestWithParam<Road> {
  protected:
    TestFolder folder;

    /// Plays the tone in the room of `file`, and divides by it.
    Sound measure(const std::string &file, const char *floor) const {
        const std::string tone = folder.file("tone.wav"), recording = folder.file("rec.wav"),
                          out = folder.file("out.wav");
        const Words depth{"--depth", GetParam().depth};
        runWell(Words{"tone", tone, "--rate", "48000", "--length", GetParam().seconds} + depth);
        runWell(Words{"render", tone, recording, "--ir", file, "--wet", GetParam().level, "--dry",
                      "-inf"} +
                depth);
        runWell({"deconvolve", recording, tone, out, "--floor", floor, "--depth", "64"});
        return readSound(out);
    }

    /// `got` must be `known` from sample `first` on, at the level of the road, and then silence.
    void expectRoom(const Samples &got, const Samples &known, size_t first) const {
        const double level = std::pow(10.0, std::stod(GetParam().level) / 20.0);
        Samples expected(known.begin() + static_cast<ptrdiff_t>(first), known.end());
        expected.resize(got.size());
        std::for_each(expected.begin(), expected.end(), [&](double &sample) { sample *= level; });
        const double peak = largestDifference(expected, Samples(expected.size()));
        EXPECT_LT(20.0 * std::log10(largestDifference(got, expected) / peak), GetParam().error);
    }
};

TEST_P(MeasuredRoom, ComesBackInEveryChannelFromItsStartOrFromItsFirstSound) {
    const Sound known{48000, {room(300, 5000, 1), room(700, 4600, 2)}};
    writeSound(folder.file("room.wav"), known);
    for (const auto &[floor, first] : {std::pair{"-150", 0u}, {"-120", 300u}}) {
        const Sound got = measure(folder.file("room.wav"), floor);
        ASSERT_EQ(got.channels.size(), 2u);
        for (size_t c = 0; c < 2; ++c)
            expectRoom(got.channels[c], known.channels[c], first);
    }
}

TEST_P(MeasuredRoom, ComesBackFromARealStreet) {
    expectRoom(measure(street, "-150").channels.at(0), readSound(street).channels.at(0), 0);
}

INSTANTIATE_TEST_SUITE_P(, MeasuredRoom,
                         testing::Values(Road{"Double", "64", "1", "0", -150},
                                         Road{"Float", "32", "4", "-20", -150},
                                         Road{"Pcm24", "24", "4", "-35", -130}),
                         [](const auto &test) { return test.param.name; });

TEST(ToneCommand, TakesAnyPositiveLengthAndRate) {
    const TestFolder folder;
    const std::string out = folder.file("tone.wav");
    const std::tuple<Words, int, size_t, double> cases[] = {
        {{}, 44100, 176400, 44100.0},
        {{"--length", "0.25", "--rate", "4800.5"}, 4800, 1200, 4800.5},
        {{"--length", "3.5", "--rate", "0.75"}, 1, 3, 0.75},
        {{"--length", "0.00001"}, 44100, 0, 44100.0},
    };
    for (const auto &[words, fileRate, frames, rate] : cases) {
        runWell(Words{"tone", out, "--depth", "64"} + words);
        const Sound tone = readSound(out);
        EXPECT_EQ(tone.rate, fileRate);
        ASSERT_EQ(tone.channels.size(), 1u);
        ASSERT_EQ(tone.frames(), frames);
        if (frames > 0) {
            EXPECT_NEAR(tone.channels[0][1], std::sin(std::numbers::pi * 40.0 / rate), 1e-12);
        }
    }
}

} // namespace
} // namespace tonvale::test
