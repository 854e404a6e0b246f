#include "measure/test_tone.h"
#include "tests/measure/fake_media.h"

#include <filesystem>
#include <fstream>
#include <limits>
#include <numbers>
#include <unistd.h>

namespace tonvale {

namespace {

class TestTone : public MeasureTest {};

/// The phase of sample n: n steps of a fifth power summed up in closed form.
long double phaseOf(long double n, long double total, long double rate) {
    const long double fifthPowers = n * n * (n - 1) * (n - 1) * (2 * n * n - 2 * n - 1) / 12;
    const long double start = 40 / rate;
    const long double rise = fifthPowers / (total * total * total * total * total);
    return std::numbers::pi_v<long double> * (start * n + (1 - start) * rise);
}

} // namespace

TEST_F(TestTone, SweepsByTheFifthPowerOfTimeInFullBlocksAndARest) {
    struct Case {
        TestToneSettings settings;
        size_t samples, blocks;
        int lastBlock, fileRate;
    };
    const Case cases[] = {
        {{}, 176400, 345, 272, 44100},
        {{0.25, 48000.5, 24}, 12000, 24, 224, 48000},
        {{1.5, 512.0, 64}, 768, 2, 256, 512},
        {{0.00001, 44100.0, 16}, 0, 0, 0, 44100},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(writeTestTone("tone", c.settings), MeasureOutcome::done);
        const WrittenFile file = std::move(fakeMedia.written["tone"]);
        fakeMedia.written.clear();
        const auto depth = static_cast<uint8_t>(c.settings.toneBitDepth);
        EXPECT_EQ(file.format, (std::vector<uint8_t>{0x65, 0x76, 0x61, 0x77, depth}));
        EXPECT_EQ(file.rate, c.fileRate);
        ASSERT_EQ(file.channels.size(), 1u);
        const Signal &tone = file.channels[0];
        ASSERT_EQ(tone.size(), c.samples);
        ASSERT_EQ(file.writes.size(), c.blocks);
        for (size_t i = 0; i < c.blocks; ++i)
            EXPECT_EQ(file.writes[i], i + 1 < c.blocks ? 512 : c.lastBlock);
        if (tone.empty())
            continue;
        EXPECT_EQ(tone[0], 0.0);
        EXPECT_EQ(tone[1], std::sin(std::numbers::pi * (40.0 / c.settings.toneSampleRate)));
        double error = 0.0;
        for (size_t n = 0; n < tone.size(); ++n) {
            const auto phase =
                phaseOf(static_cast<long double>(n), static_cast<long double>(c.samples),
                        c.settings.toneSampleRate);
            error = std::max(error, std::fabs(tone[n] - static_cast<double>(std::sin(phase))));
        }
        EXPECT_LT(error, 1e-8);
    }
}

TEST_F(TestTone, HoldsAnyLengthInsideItsRange) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(testToneLength({1e300, 44100.0}), INT32_MAX);
    EXPECT_EQ(testToneLength({4.0, 1e300}), INT32_MAX);
    EXPECT_EQ(testToneLength({1e300, 1e300}), INT32_MAX);
    EXPECT_EQ(testToneLength({nan, 44100.0}), 0);
    EXPECT_EQ(testToneLength({4.0, nan}), 0);
    EXPECT_EQ(testToneLength({-4.0, 44100.0}), 0);
    EXPECT_EQ(testToneLength({-1e300, 44100.0}), 0);
    EXPECT_EQ(testToneLength({1.0, 0.5}), 1);

    ASSERT_EQ(writeTestTone("tone", {-4.0, 1e300}), MeasureOutcome::done);
    EXPECT_EQ(fakeMedia.written["tone"].rate, INT32_MAX);
    EXPECT_TRUE(fakeMedia.written["tone"].channels[0].empty());
}

TEST_F(TestTone, TellsOfARefusedFileAndIsSilentWithoutAFileWriter) {
    fakeMedia.refusesSinks = true;
    const MeasureOutcome refused = writeTestTone("tone", {});
    EXPECT_STREQ(measureMessage(refused), "Error creating test tone file");
    hostFunctions.PCM_Sink_Create = nullptr;
    const MeasureOutcome unavailable = writeTestTone("tone", {});
    EXPECT_EQ(unavailable, MeasureOutcome::unavailable);
    EXPECT_EQ(measureMessage(unavailable), nullptr);
}

TEST_F(TestTone, LeavesNoFileBehindWhenItIsCancelled) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("tonvale-tone-é-" + std::to_string(getpid()) + ".wav");
    fakeMedia.finishFile = [&] { ASSERT_TRUE(std::ofstream(path) << "finished"); };
    const auto progress = [](double fraction) { return fraction < 0.5; };
    EXPECT_EQ(writeTestTone(path.c_str(), {0.1}, progress), MeasureOutcome::cancelled);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(fakeMedia.written.begin()->second.writes.size(), 5u);
}

TEST(MeasureSettings, TakeOnlyTheEntriesThatMakeSense) {
    struct Case {
        const char *entry;
        double number;
        int32_t depth, floor;
    };
    // What the settings are after each entry, from 4.0, 32 and -120.
    const Case cases[] = {
        {"", 4.0, 32, -120},       {"abc", 4.0, 32, -120},
        {"0", 4.0, 32, 0},         {"0.0", 4.0, 32, 0},
        {"-", 4.0, 32, 0},         {"-x", 4.0, 32, 0},
        {"24", 24.0, 24, 24},      {" 16 dB", 16.0, 16, 16},
        {"20", 20.0, 32, 20},      {"64", 64.0, 64, 64},
        {"-90.5", -90.5, 32, -90}, {"+64", 64.0, 64, 64},
        {"0.25", 0.25, 32, 0},     {"nan", 4.0, 32, -120},
        {"inf", 4.0, 32, -120},    {"1e999", 4.0, 32, 1},
        {"3e9", 3e9, 32, 3},       {"-999", -999.0, 32, -999},
        {"280", 280.0, 32, 280},   {"4294967312", 4294967312.0, 32, INT32_MAX},
    };
    for (const Case &c : cases) {
        double number = 4.0;
        int32_t depth = 32, floor = -120;
        acceptMeasureNumber(c.entry, number);
        acceptBitDepth(c.entry, depth);
        acceptNoiseFloor(c.entry, floor);
        EXPECT_EQ(number, c.number) << c.entry;
        EXPECT_EQ(depth, c.depth) << c.entry;
        EXPECT_EQ(floor, c.floor) << c.entry;
    }
}

} // namespace tonvale
