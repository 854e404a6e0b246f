#include "measure/deconvolver.h"

#include "measure/source_reading.h"
#include "measure/test_tone.h"
#include "test_host/heap_in_use.h"
#include "test_host/allocation_limit.h"
#include "tests/measure/measure_test.h"

#include <limits>
#include <set>

namespace tonvale::test {
namespace {

class Deconvolver : public MeasureTest {
  protected:
    MeasureOutcome run(int32_t floor, const MeasureProgress &progress = {}) {
        return deconvolve(recording.c_str(), tone.c_str(), out.c_str(), {floor, 64}, progress);
    }
    bool hasWritten() const { return std::filesystem::exists(filePath(out)); }

    std::string recording = "memory:recording", tone = "memory:tone";
};

TEST_F(Deconvolver, FindsWhatIsAudibleWithAMarginOfSixteenFrames) {
    const struct {
        size_t total;
        std::vector<size_t> audible;
        double threshold;
        int32_t start, length;
    } cases[] = {
        {3000, {700, 1500}, 0.1, 684, 832}, // to 1516
        {3000, {5, 2990}, 0.1, 0, 3000},    // both margins cut by the ends
        {3000, {0}, 0.1, 0, 16},
        {3000, {1500}, 0.5, 0, 16}, // as loud as the threshold is not above it
        {3000, {1500}, -1.0, 0, 3000},
        {7, {}, 0.1, 0, 7},
        {0, {}, 0.1, 0, 0},
    };
    for (const auto &c : cases) {
        Channels channels(2, Samples(c.total));
        for (size_t i = 0; i < c.audible.size(); ++i)
            channels[i % 2][c.audible[i]] = -0.5;
        putMedia("range", 44100.0, channels);
        const FrameRange range = findAudibleRange(*openMedia("memory:range"), c.threshold);
        EXPECT_EQ(range.start, c.start);
        EXPECT_EQ(range.length, c.length);
    }
}

TEST_F(Deconvolver, GivesSilenceInBinsWithoutTone) {
    double points[] = {3.0, 4.0, 3.0, 4.0, 3.0, 4.0};
    const double weak[] = {1.0, -2.0, 3e-11, 0.0, 0.0, 3.2e-11};
    divideSpectra(points, weak, 3, 0.5);
    // (3 + 4i) / (1 - 2i), nothing, and (3 + 4i) / 3.2e-11 i, its square just above the limit
    const double expected[] = {-0.5, 1.0, 0.0, 0.0, 6.25e10, -4.6875e10};
    for (size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(points[i], expected[i], std::fabs(expected[i]) * 1e-14);
}

TEST_F(Deconvolver, FindsTheRoomThatTheToneWasPlayedIn) {
    ASSERT_EQ(writeTestTone(out.c_str(), {0.5, 44100.0, 64}), MeasureOutcome::done);
    const Samples sweep = readFile(out).channels.at(0);
    const Samples grain = noise(1024, 3), other = noise(1024, 4), spike = {1.0};
    const Samples left = roomNoise(900, 1), right = roomNoise(500, 2), echo = {1.0, 0.0, 0.0, -0.5};
    const Channels stereo = {convolved(sweep, left), delayed(convolved(sweep, right), 400)};
    Samples turned = grain;
    std::rotate(turned.rbegin(), turned.rbegin() + 5, turned.rend());
    const struct {
        const char *what;
        Channels recorded, played;
        int32_t floor;
        Channels expected;
        size_t length;
        MediaClaims claims;
    } cases[] = {
        {"delayed", {delayed(sweep, 1000)}, {sweep}, -100, {spike}, 1, {}},
        {"untrimmed", {delayed(sweep, 1000)}, {sweep}, -150, {delayed(spike, 1000)}, 23050, {}},
        {"a stereo room", stereo, {sweep}, -150, {left, delayed(right, 400)}, 22949, {}},
        {"in turn", {other, grain, other}, {other, grain}, -150, {spike, spike, spike}, 1024, {}},
        {"no room for the wrap", {turned}, {grain}, -150, {delayed(spike, 5)}, 1024, {}},
        {"past a size", {delayed(grain, 1)}, {grain}, -150, {delayed(spike, 1)}, 1025, {}},
        {"trimmed result", {delayed(convolved(grain, echo), 9)}, {grain}, -100, {echo}, 4, {}},
        {"floor of full scale", {convolved(sweep, {0.5})}, {sweep}, 0, {{0.5}}, 1, {}},
        {"fewer frames than told", {grain}, {grain}, -150, {spike}, 2205, {.seconds = 0.05}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        putMedia("recording", 44100.9, c.recorded, c.claims);
        putMedia("tone", 44100.0, c.played);
        ASSERT_EQ(run(c.floor), MeasureOutcome::done);
        const Sound result = readFile(out);
        EXPECT_EQ(result.rate, 44100.0);
        ASSERT_EQ(result.channels.size(), c.expected.size());
        for (size_t i = 0; i < c.expected.size(); ++i) {
            Samples expected = c.expected[i];
            expected.resize(c.length);
            EXPECT_LT(largestDifference(result.channels[i], expected), 1e-12);
        }
    }
}

TEST_F(Deconvolver, TellsWhyItFailsAndLeavesNothing) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    putMedia("good", 44100.0, {noise(2000, 5)});
    putMedia("faster", 44101.5, {noise(9, 1)});
    putMedia("empty", 44100.0, {{}});
    putMedia("timeless", 44100.0, {{}}, {.seconds = nan});
    putMedia("endless", 44100.0, {noise(10, 1)}, {.seconds = 1e300});
    putMedia("long", 44100.0, {{}}, {.seconds = 0x1p30 / 44100.0 + 1.0});
    putMedia("deaf", 44100.0, {}, {.seconds = 1.0});
    putMedia("wide", 44100.0, {noise(10, 1)}, {.channels = INT32_MAX});
    const struct {
        const char *recording, *tone, *message;
    } cases[] = {
        {"missing", "good", "Error opening file to be deconvolved"},
        {"good", "missing", "Error opening test tone"},
        {"good", "faster", "Sample rate mismatch between file to be deconvolved and test tone"},
        {"empty", "good", "One or both files silent"},
        {"good", "timeless", "One or both files silent"},
        {"endless", "good", "Error allocating memory"},
        {"good", "long", "Error allocating memory"},
        {"deaf", "good", "Error decoding media"},
        {"good", "deaf", "Error decoding media"},
        {"wide", "good", "Error decoding media"},
    };
    // What can't be had is not asked for, since a system may promise more memory than it has.
    const AllocationLimit limit(INT32_MAX, 1u << 24);
    for (const auto &c : cases) {
        recording = std::string("memory:") + c.recording;
        tone = std::string("memory:") + c.tone;
        EXPECT_STREQ(measureMessage(run(-150)), c.message);
    }
    EXPECT_EQ(limit.refused(), 0);
    EXPECT_FALSE(hasWritten());
    recording = tone = "memory:good";
    std::filesystem::remove(folder.path);
    EXPECT_STREQ(measureMessage(run(-150)), "Error creating output file");
    hostFunctions.PCM_Sink_Create = nullptr;
    EXPECT_EQ(run(-150), MeasureOutcome::unavailable);
}

TEST_F(Deconvolver, GivesAllMemoryBackWhicheverRequestIsRefused) {
    // A spectrum takes 1 MiB here; what else goes on in the process takes far less.
    constexpr size_t slack = 1u << 18;
    putMedia("recording", 44100.0, {noise(40000, 1), noise(40000, 2)});
    putMedia("tone", 44100.0, {noise(40000, 3)});
    std::set<MeasureOutcome> outcomes;
    forEachRefusedRequest(100, [&](const Refusal &refusal) {
        std::filesystem::remove(filePath(out));
        const size_t before = heapInUse();
        MeasureOutcome outcome;
        {
            const AllocationLimit limit(refusal);
            outcome = run(-150);
        }
        EXPECT_LT(heapInUse(), before + slack);
        EXPECT_EQ(openMediaSources(), 0);
        EXPECT_EQ(hasWritten(), outcome == MeasureOutcome::done);
        outcomes.insert(outcome);
    });
    EXPECT_EQ(outcomes, (std::set{MeasureOutcome::done, MeasureOutcome::outOfMemory,
                                  MeasureOutcome::decodingFailed}));
}

TEST_F(Deconvolver, CanBeCancelledAtEveryStepBeforeItWrites) {
    putMedia("recording", 44100.0, {noise(2000, 1), noise(2000, 2)});
    putMedia("tone", 44100.0, {noise(900, 3)});
    int steps = 0;
    for (bool done = false; !done; ++steps) {
        EXPECT_FALSE(hasWritten());
        double before = 0.0;
        int left = steps;
        const MeasureOutcome outcome = run(-120, [&](double fraction) {
            EXPECT_GT(fraction, std::exchange(before, fraction));
            return left-- > 0;
        });
        done = outcome != MeasureOutcome::cancelled;
        EXPECT_EQ(before == 1.0, done);
    }
    EXPECT_EQ(steps, 10);
    EXPECT_TRUE(hasWritten());
}

} // namespace
} // namespace tonvale::test
