#include "measure/test_tone.h"

#include "tests/measure/measure_test.h"

#include <limits>
#include <numbers>

namespace tonvale::test {
namespace {

using TestTone = MeasureTest;

/// The phase of sample n: n steps of a fifth power summed up in closed form.
long double phaseOf(long double n, long double total, long double rate) {
    const long double fifthPowers = n * n * (n - 1) * (n - 1) * (2 * n * n - 2 * n - 1) / 12;
    const long double start = 40 / rate;
    const long double rise = fifthPowers / (total * total * total * total * total);
    return std::numbers::pi_v<long double> * (start * n + (1 - start) * rise);
}

TEST_F(TestTone, SweepsByTheFifthPowerOfTimeFromZeroToTheLastSample) {
    const struct {
        TestToneSettings settings;
        size_t samples;
        double fileRate, tolerance;
    } cases[] = {
        {{4.0, 44100.0, 64}, 176400, 44100.0, 1e-8}, {{0.25, 48000.5, 24}, 12000, 48000.0, 1.3e-7},
        {{1.5, 512.0, 32}, 768, 512.0, 6e-8},        {{0.0111, 44100.0, 16}, 490, 44100.0, 3.2e-5},
        {{0.00001, 44100.0, 16}, 0, 44100.0, 0.0},   {{-4.0, 44100.0, 16}, 0, 44100.0, 0.0},
    };
    for (const auto &[settings, samples, fileRate, tolerance] : cases) {
        ASSERT_EQ(writeTestTone(out.c_str(), settings), MeasureOutcome::done);
        const size_t bytes = samples * static_cast<size_t>(settings.toneBitDepth) / 8;
        const size_t size = std::filesystem::file_size(filePath(out));
        EXPECT_TRUE(size > bytes && size < bytes + 200) << size;
        const Sound tone = readFile(out);
        EXPECT_EQ(tone.rate, fileRate);
        ASSERT_EQ(tone.channels.size(), 1u);
        ASSERT_EQ(tone.channels[0].size(), samples);
        for (size_t n = 0; n < samples; ++n) {
            const auto phase = phaseOf(static_cast<long double>(n),
                                       static_cast<long double>(samples), settings.toneSampleRate);
            ASSERT_NEAR(tone.channels[0][n], static_cast<double>(std::sin(phase)), tolerance) << n;
        }
    }
}

TEST_F(TestTone, HoldsAnyLengthInsideItsRange) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double seconds, rate;
        int32_t length;
    } cases[] = {{1e300, 44100.0, INT32_MAX}, {1e300, 1e300, INT32_MAX},
                 {nan, 44100.0, 0},           {4.0, nan, 0},
                 {-1e300, 44100.0, 0},        {1.0, 0.5, 1}};
    for (const auto &[seconds, rate, length] : cases)
        EXPECT_EQ(testToneLength({seconds, rate}), length) << seconds << " " << rate;
}

TEST_F(TestTone, TellsOfARefusedFileAndIsSilentWithoutAFileWriter) {
    const MeasureOutcome refused = writeTestTone(folder.file("none/out.wav").c_str(), {});
    EXPECT_STREQ(measureMessage(refused), "Error creating test tone file");
    hostFunctions.PCM_Sink_Create = nullptr;
    const MeasureOutcome unavailable = writeTestTone(out.c_str(), {});
    EXPECT_EQ(unavailable, MeasureOutcome::unavailable);
    EXPECT_EQ(measureMessage(unavailable), nullptr);
}

TEST_F(TestTone, LeavesNoFileBehindWhenItIsCancelled) {
    const auto toTheMiddle = [](double fraction) { return fraction < 0.5; };
    EXPECT_EQ(writeTestTone(out.c_str(), {0.1}, toTheMiddle), MeasureOutcome::cancelled);
    EXPECT_FALSE(std::filesystem::exists(filePath(out)));
}

} // namespace
} // namespace tonvale::test
