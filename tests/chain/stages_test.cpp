#include "chain/stage_models.h"

#include "convolution/containers/raw_memory.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace tonvale::test {
namespace {

constexpr double rates[] = {2000, 8000, 22050, 44100, 48000, 96000, 192000};

int32_t below(Random &random, int32_t limit) {
    return std::uniform_int_distribution<int32_t>(0, limit - 1)(random);
}

double drawRate(Random &random) {
    return rates[static_cast<size_t>(below(random, std::ssize(rates)))];
}

void expectNear(const Signal &actual, const Signal &expected, double tolerance) {
    ASSERT_EQ(actual.rate, expected.rate);
    ASSERT_EQ(actual.channels.size(), expected.channels.size());
    double peak = 1.0;
    for (const auto &channel : expected.channels) {
        for (double x : channel)
            peak = std::max(peak, std::abs(x));
    }
    for (size_t c = 0; c < expected.channels.size(); ++c) {
        ASSERT_EQ(actual.channels[c].size(), expected.channels[c].size()) << "channel " << c;
        for (size_t i = 0; i < expected.channels[c].size(); ++i)
            ASSERT_NEAR(actual.channels[c][i], expected.channels[c][i], tolerance * peak)
                << "channel " << c << " frame " << i;
    }
}

void expectSoundShape(const ImpulseBuffer &impulse, double rate) {
    ASSERT_EQ(impulse.sampleRate, rate);
    ASSERT_GE(impulse.getNumChannels(), 1);
    for (int32_t c = 1; c < impulse.getNumChannels(); ++c)
        ASSERT_EQ(impulse.getChannelLength(c), impulse.getLength());
}

class Stages : public testing::TestWithParam<StageModel> {
  protected:
    StageHost host;
    Random random{20240};
    const StageModel &model = GetParam();
};

std::string modelName(const testing::TestParamInfo<StageModel> &info) {
    return info.param.key;
}

INSTANTIATE_TEST_SUITE_P(All, Stages, testing::ValuesIn(stageModels()), modelName);

TEST_P(Stages, AgreeWithTheirFormulas) {
    for (int round = 0; round < 240; ++round) {
        const int32_t length = round % 8 == 0 ? round / 24 : below(random, 1200);
        const Signal input = noise(random, 1 + below(random, 8), length, drawRate(random));
        const Settings settings = model.draw(random);
        SCOPED_TRACE(toText(settings) + "at " + std::to_string(input.rate));
        Signal expected = input;
        model.run(expected, settings);
        expectNear(runStage(model.key, toText(settings), input), expected, model.tolerance);
        if (HasFatalFailure())
            return;
    }
    EXPECT_EQ(StageHost::liveResamplers, 0);
}

TEST_P(Stages, KeepTheirSettingsThroughBothForms) {
    const auto stage = makeStage(model.key);
    EXPECT_EQ(readBack(*stage), model.defaults);
    EXPECT_FALSE(stage->loadText(" \t"));
    EXPECT_EQ(readBack(*stage), model.defaults);

    // Text: one form in and out, cut where the room ends.
    const Settings settings = model.draw(random);
    EXPECT_TRUE(stage->loadText((toText(settings) + "\t99 more").c_str()));
    std::string line = model.key;
    for (double value : settings) {
        line += ' ';
        line += model.wholeNumbers ? std::to_string(std::lround(value)) : std::to_string(value);
    }
    for (size_t size = 0; size < line.size() + 2; ++size) {
        std::vector<char> text(size + 1, '#');
        stage->saveText(text.data(), static_cast<int32_t>(size));
        ASSERT_EQ(text[size], '#');
        if (size > 0) {
            ASSERT_EQ(text.data(), line.substr(0, size - 1));
        }
    }

    // State: narrowed to 32 bits, whole values only, none where there are too few.
    HeapBuffer state;
    stage->saveState(state);
    ASSERT_EQ(state.getSize(), 4 * std::ssize(settings));
    const Settings saved = readBack(*stage);
    std::vector<char> bytes(static_cast<size_t>(state.getSize()) + 6, 'x');
    std::memcpy(bytes.data(), state.get(), static_cast<size_t>(state.getSize()));
    for (int32_t size = -1; size <= std::ssize(bytes); ++size) {
        const auto fresh = makeStage(model.key);
        fresh->loadState(model.key, bytes.data(), size);
        Settings expected = model.defaults;
        const auto whole = size < model.fewestSize ? 0 : std::min<size_t>(size / 4, saved.size());
        std::copy_n(saved.begin(), whole, expected.begin());
        const Settings actual = readBack(*fresh);
        for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(actual[i], expected[i], 1e-5) << "value " << i << " of " << size;
    }

    // A text that ends early sets what it has; a word that is no number is 0.
    const auto part = makeStage(model.key);
    EXPECT_EQ(part->loadText("word"), settings.size() == 1);
    Settings expected = model.defaults;
    expected[0] = 0;
    EXPECT_EQ(readBack(*part), expected);
}

TEST_P(Stages, StandAnyValue) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double hostile[] = {std::nan(""), infinity, -infinity, 1e300, -1e300, 2147483647,
                                  -2147483648., 1e-300,   -1,        0,     128,    1e9};
    for (int round = 0; round < 1500; ++round) {
        Settings settings = model.draw(random);
        for (double &value : settings) {
            if (below(random, 2) == 0)
                value = hostile[static_cast<size_t>(below(random, std::ssize(hostile)))];
        }
        SCOPED_TRACE(toText(settings));
        const Signal input =
            noise(random, 1 + below(random, 3), below(random, 60), round % 2 == 0 ? 2000 : 192000);
        ImpulseBuffer impulse;
        load(impulse, input);
        makeStage(model.key, toText(settings))->process(impulse);
        expectSoundShape(impulse, input.rate);
        ASSERT_LE(impulse.getLength(), 200000);
    }
}

int allocationsLeft = 0;

TEST_P(Stages, StandMemoryThatRunsOut) {
    for (int round = 0; round < 120; ++round) {
        const Signal input = noise(random, 1 + below(random, 3), below(random, 600), 44100);
        const auto stage = makeStage(model.key, toText(model.draw(random)));
        ImpulseBuffer impulse;
        load(impulse, input);
        allocationsLeft = round / 4;
        setAllocationGate([](size_t) { return allocationsLeft-- > 0; });
        stage->process(impulse);
        setAllocationGate(nullptr);
        expectSoundShape(impulse, input.rate);
    }
    EXPECT_EQ(StageHost::liveResamplers, 0);
}

TEST(StageChain, AddsUpToTheChainOfItsFormulas) {
    StageHost host;
    Random random(77);
    for (int round = 0; round < 600; ++round) {
        ImpulseBuffer impulse;
        const Signal empty{rates[static_cast<size_t>(below(random, 5))], {{}}};
        load(impulse, empty);
        Signal expected = empty;
        std::string trace;
        for (int links = 1 + below(random, 6); links > 0; --links) {
            const StageModel &model = stageModels()[static_cast<size_t>(below(random, 7))];
            const Settings settings = model.draw(random);
            trace.append(model.key).append(" ").append(toText(settings)).append("| ");
            model.run(expected, settings);
            makeStage(model.key, toText(settings))->process(impulse);
        }
        SCOPED_TRACE(trace);
        expectNear(read(impulse), expected, 1e-5);
        if (testing::Test::HasFatalFailure())
            return;
    }
}

TEST(StageChain, LeavesTheImpulseAsItWasWhenAskedForMoreThanAChannelHolds) {
    Random random(1);
    const Signal mono = noise(random, 1, 50, 44100);
    for (const char *line : {"ECHOGEN 0 1e8", "ECHOGEN 1e8 100", "VERBGEN 0 1e8", "VERBGEN 1e8 9",
                             "BASICEDIT 1 0 20000 1 1e8"}) {
        SCOPED_TRACE(line);
        const std::string text = line;
        const size_t blank = text.find(' ');
        const Signal output = runStage(text.substr(0, blank).c_str(), text.substr(blank), mono);
        expectNear(output, mono, 0);
    }
}

TEST(StageChain, TellsInItsStatusWhatCameAndWhatWent) {
    Random random(1);
    ImpulseBuffer impulse;
    load(impulse, noise(random, 1, 22050, 44100));
    const auto pan = makeStage("BASICEDIT", "1 250 20000 1 0 1 0.5");
    pan->process(impulse);
    EXPECT_STREQ(pan->inputStatus, "Input: 0.50s 44kHz 1ch");
    EXPECT_STREQ(pan->outputStatus, "Output: 0.25s 44kHz 2ch");

    load(impulse, {48000, {{0.5, -2.0}}});
    const auto normalize = makeStage("NORM", "1");
    normalize->process(impulse);
    EXPECT_STREQ(normalize->outputStatus, "Output: 0.00s 48kHz 1ch (-6.0 dB gain)");
    normalize->loadText("0");
    normalize->process(impulse);
    EXPECT_STREQ(normalize->outputStatus, "Output: 0.00s 48kHz 1ch (-150.0 dB gain)");
    normalize->process(impulse);
    EXPECT_STREQ(normalize->outputStatus, "Output: 0.00s 48kHz 1ch (0.0 dB gain)");
}

} // namespace
} // namespace tonvale::test
