#include "chain/stage_formulas.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>

namespace tonvale::test {
namespace {

using Random = std::mt19937_64;

int32_t below(Random &random, int32_t limit) {
    return std::uniform_int_distribution<int32_t>(0, limit - 1)(random);
}

Signal randomSignal(Random &random, int32_t most, int32_t length, double rate) {
    Signal signal{rate, Channels(static_cast<size_t>(1 + below(random, most)))};
    for (auto &channel : signal.channels)
        channel = noise(static_cast<size_t>(length), static_cast<uint32_t>(random()));
    return signal;
}

/// Often at a tenth, since that is where a stage changes what it does.
Settings draw(const StageFormula &formula, Random &random) {
    Settings settings;
    for (const auto &[low, high] : formula.limits) {
        const double value = std::uniform_real_distribution<double>(low, high)(random);
        const double tenth = std::round(value * 10) / 10;
        settings.push_back(formula.hasWholeNumbers() ? std::trunc(value)
                           : below(random, 2)        ? tenth
                                                     : value);
    }
    return settings;
}

Settings readBack(ImpulseGenerator &stage) {
    std::istringstream text(textOf(stage).substr(std::strlen(stage.getTypeKey())));
    return {std::istream_iterator<double>(text), {}};
}

class EveryStage : public StageTest<testing::TestWithParam<StageFormula>> {
  protected:
    Random random{20240};
    const StageFormula &formula = GetParam();
};

INSTANTIATE_TEST_SUITE_P(All, EveryStage, testing::ValuesIn(stageFormulas()),
                         [](const auto &each) { return std::string(each.param.key); });

TEST_P(EveryStage, AgreesWithItsFormula) {
    constexpr double rates[] = {2000, 8000, 22050, 44100, 48000, 96000, 192000};
    for (int round = 0; round < 240; ++round) {
        const int32_t length = round % 8 == 0 ? round / 24 : below(random, 1200);
        const Signal input = randomSignal(random, round % 3 == 0 ? 1 : 8, length, rates[round % 7]);
        ASSERT_NO_FATAL_FAILURE(expectAgreement(formula, draw(formula, random), input));
    }
}

TEST_P(EveryStage, KeepsItsSettingsThroughBothForms) {
    const auto stage = makeStage(formula.key);
    EXPECT_FALSE(stage->loadText(" \t"));
    EXPECT_EQ(readBack(*stage), formula.defaults);

    // Text: one form in and out, cut where the room ends.
    const Settings settings = draw(formula, random);
    EXPECT_TRUE(stage->loadText((toText(settings) + "\t99 more").c_str()));
    std::string line = formula.key;
    for (double v : settings)
        line +=
            ' ' + (formula.hasWholeNumbers() ? std::to_string(std::lround(v)) : std::to_string(v));
    for (size_t size = 1; size < line.size() + 2; ++size)
        ASSERT_EQ(textOf(*stage, size), line.substr(0, size - 1));

    // State: narrowed to 32 bits, whole values only, none where there are too few.
    HeapBuffer state;
    stage->saveState(state);
    ASSERT_EQ(state.getSize(), 4 * std::ssize(settings));
    const Settings saved = readBack(*stage);
    std::vector<char> bytes(static_cast<size_t>(state.getSize()) + 6, 'x');
    std::memcpy(bytes.data(), state.get(), static_cast<size_t>(state.getSize()));
    for (int32_t size = -1; size <= std::ssize(bytes); ++size) {
        const auto fresh = makeStage(formula.key);
        fresh->loadState(formula.key, bytes.data(), size);
        Settings expected = formula.defaults;
        const auto whole = size < formula.fewestSize ? 0 : std::min<size_t>(size / 4, saved.size());
        std::copy_n(saved.begin(), whole, expected.begin());
        const Settings actual = readBack(*fresh);
        for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(actual[i], expected[i], 1e-5) << "value " << i << " of " << size;
    }

    // A text that ends early sets what it has; a word that is no number is 0.
    const auto part = makeStage(formula.key);
    EXPECT_EQ(part->loadText("word"), settings.size() == 1);
    Settings expected = formula.defaults;
    expected[0] = 0;
    EXPECT_EQ(readBack(*part), expected);
}

TEST_P(EveryStage, StandsAnyValueAndMemoryThatRunsOut) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double hostile[] = {std::nan(""), infinity, -infinity, 1e300, -1e300, 2147483647,
                                  -2147483648., 1e-300,   -1,        0,     128,    1e9};
    for (int round = 0; round < 1500; ++round) {
        Settings settings = draw(formula, random);
        for (double &value : settings) {
            if (round >= 120 && below(random, 2) == 0)
                value = hostile[below(random, std::ssize(hostile))];
        }
        SCOPED_TRACE(toText(settings));
        const Signal input =
            randomSignal(random, 3, below(random, 60), round % 2 == 0 ? 2000 : 192000);
        const int allowed = round < 120 ? round / 4 : INT32_MAX;
        const Signal out = runStage(formula.key, toText(settings), input, allowed);
        ASSERT_EQ(out.rate, input.rate);
        ASSERT_GE(out.channels.size(), 1u);
        ASSERT_LE(out.length(), 200000u);
        for (const Samples &channel : out.channels)
            ASSERT_EQ(channel.size(), out.length());
    }
}

TEST(StageRegistry, IsInTheOrderOfItsNamesAndMakesWhatAKeyNames) {
    std::string names;
    const char *key = nullptr;
    for (ImpulseGeneratorType *type = nullptr;
         const char *name = nextImpulseGeneratorType(type, &key);) {
        names += std::string(name) + ", ";
        const std::unique_ptr<ImpulseGenerator> stage(
            createImpulseGenerator(("!" + std::string(key)).c_str(), nullptr));
        EXPECT_STREQ(stage->getTypeKey(), key);
        EXPECT_STREQ(stage->getDisplayName(), name);
        EXPECT_EQ(stage->bypassed, 1);
    }
    EXPECT_EQ(names, "Channel Tool, Echo Generator, File, Filter (LP/HP), Normalize, "
                     "Reverb Generator, Reverse, Trim/Gain/Stretch, ");
    EXPECT_EQ(createImpulseGenerator("norm", nullptr), nullptr);
}

TEST(StageStatus, TellsWhatCameAndWhatWent) {
    ImpulseBuffer impulse;
    load(impulse, {44500, {Samples(22250)}});
    const auto pan = makeStage("BASICEDIT", "1 250 20000 1 0 1 0.5");
    pan->process(impulse);
    EXPECT_STREQ(pan->inputStatus, "Input: 0.50s 44kHz 1ch");
    EXPECT_STREQ(pan->outputStatus, "Output: 0.25s 44kHz 2ch");

    load(impulse, {47999.5, {{0.5, -2.0}}});
    const auto normalize = makeStage("NORM");
    for (const auto &[peak, gain] : {std::pair{"1", "-6.0"}, {"0", "-150.0"}, {"0", "0.0"}}) {
        normalize->loadText(peak);
        normalize->process(impulse);
        EXPECT_EQ(normalize->outputStatus,
                  "Output: 0.00s 48kHz 1ch (" + std::string(gain) + " dB gain)");
    }
}

} // namespace
} // namespace tonvale::test
