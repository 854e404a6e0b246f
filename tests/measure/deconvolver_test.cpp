#include "host/host_object_ptr.h"
#include "measure/deconvolver.h"
#include "measure/source_reading.h"
#include "measure/test_tone.h"
#include "tests/measure/fake_media.h"

#include <limits>
#include <malloc.h>
#include <random>

namespace tonvale {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

int allocationsLeft = 0;
bool grantsWhileSomeAreLeft(size_t) {
    return allocationsLeft-- > 0;
}

size_t largestRequest = 0;
bool grantsAndNotesTheLargest(size_t bytes) {
    largestRequest = std::max(largestRequest, bytes);
    return true;
}

size_t heapInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

Signal noise(size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> level(-0.9, 0.9);
    Signal signal(length);
    std::generate(signal.begin(), signal.end(), [&] { return level(random); });
    return signal;
}

Signal delayed(const Signal &signal, size_t by) {
    Signal result(by, 0.0);
    result.insert(result.end(), signal.begin(), signal.end());
    return result;
}

/// A few decaying echoes within `length` samples.
Signal room(size_t length, unsigned seed) {
    Signal result(length, 0.0);
    std::mt19937 random(seed);
    for (int echo = 1; echo <= 24; ++echo)
        result[random() % length] += std::pow(-0.85, echo);
    result.back() = 0.02;
    return result;
}

/// Direct convolution.
Signal played(const Signal &tone, const Signal &through) {
    Signal result(tone.size() + through.size() - 1, 0.0);
    for (size_t d = 0; d < through.size(); ++d) {
        if (through[d] == 0.0)
            continue;
        for (size_t n = 0; n < tone.size(); ++n)
            result[n + d] += through[d] * tone[n];
    }
    return result;
}

/// The largest difference, what one signal lacks counting as zero.
double difference(const Signal &a, const Signal &b) {
    double largest = 0.0;
    for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
        const double x = i < a.size() ? a[i] : 0.0;
        const double y = i < b.size() ? b[i] : 0.0;
        largest = std::max(largest, std::fabs(x - y));
    }
    return largest;
}

class Deconvolver : public MeasureTest {
  protected:
    static Signal testTone(double seconds) {
        writeTestTone("tone", {seconds});
        return std::move(fakeMedia.written["tone"].channels.at(0));
    }

    static MeasureOutcome run(int32_t floor, const MeasureProgress &progress = {}) {
        return deconvolve("recording", "tone", "out", {floor, 24}, progress);
    }
};

} // namespace

TEST_F(Deconvolver, FindsWhatIsAudibleWithAMarginOfSixteenFrames) {
    struct Case {
        size_t total;
        std::vector<size_t> audible;
        double threshold;
        int32_t start, length;
    };
    const Case cases[] = {
        {3000, {700, 1500}, 0.1, 684, 832}, // to 1516
        {3000, {5, 2990}, 0.1, 0, 3000},    // both margins cut by the ends
        {3000, {2999}, 0.1, 2983, 17},
        {3000, {0}, 0.1, 0, 16},
        {3000, {0, 700}, 0.1, 0, 716},
        {3000, {}, 0.1, 0, 16},
        {3000, {1500}, 0.5, 0, 16}, // as loud as the threshold is not above it
        {3000, {1500}, -1.0, 0, 3000},
        {7, {}, 0.1, 0, 7},
        {0, {}, 0.1, 0, 0},
    };
    for (const Case &c : cases) {
        FakeFile file{{Signal(c.total, 0.0), Signal(c.total, 0.0)}};
        for (size_t i = 0; i < c.audible.size(); ++i)
            file.channels[i % 2][c.audible[i]] = -0.5;
        const HostObjectPtr<MediaSource> source(new FakeSource(file));
        const FrameRange range = findAudibleRange(*source, c.threshold);
        EXPECT_EQ(range.start, c.start);
        EXPECT_EQ(range.length, c.length);
    }
}

TEST_F(Deconvolver, LeavesZeroWhatASourceDoesNotDeliver) {
    FakeFile file{{noise(900, 1), noise(900, 2)}};
    const HostObjectPtr<MediaSource> source(new FakeSource(file));
    ChannelBlocks channels;
    ASSERT_TRUE(readChannels(*source, {100, 1000}, 10, channels));
    ASSERT_EQ(channels.getSize(), 2);
    for (size_t i = 0; i < 1024; ++i) {
        for (size_t c = 0; c < 2; ++c) {
            const double *point = channels.get(static_cast<int32_t>(c)) + 2 * i;
            ASSERT_EQ(point[0], i < 800 ? file.channels[c][100 + i] : 0.0);
            ASSERT_EQ(point[1], 0.0);
        }
    }
}

TEST_F(Deconvolver, GivesSilenceInBinsWithoutTone) {
    double points[] = {3.0, 4.0, 3.0, 4.0, 3.0, 4.0};
    const double tone[] = {1.0, -2.0, 3e-11, 0.0, 0.0, 3.2e-11};
    divideSpectra(points, tone, 3, 0.5);
    // (3 + 4i) / (1 - 2i) = -1 + 2i
    EXPECT_NEAR(points[0], -0.5, 1e-15);
    EXPECT_NEAR(points[1], 1.0, 1e-15);
    EXPECT_EQ(points[2], 0.0);
    EXPECT_EQ(points[3], 0.0);
    // (3 + 4i) / (3.2e-11 i), 3.2e-11 squared being just above the limit
    EXPECT_NEAR(points[4], 6.25e10, 1e-3);
    EXPECT_NEAR(points[5], -4.6875e10, 1e-3);
}

TEST_F(Deconvolver, FindsTheRoomThatTheToneWasPlayedIn) {
    const Signal sweep = testTone(0.5), grain = noise(1024, 3), other = noise(1024, 4);
    const Signal left = room(3000, 1), right = room(2500, 2), echo = {1.0, 0.0, 0.0, -0.5};
    Signal turned = grain;
    std::rotate(turned.rbegin(), turned.rbegin() + 5, turned.rend());
    struct Case {
        const char *what;
        FakeFile recording, tone;
        int32_t floor;
        std::vector<Signal> expected;
        size_t length;
    };
    const Case cases[] = {
        {"the tone itself", {{sweep}}, {{sweep}}, -100, {{1.0}}, 1},
        {"delayed", {{delayed(sweep, 1000)}}, {{sweep}}, -100, {{1.0}}, 1},
        {"untrimmed", {{delayed(sweep, 1000)}}, {{sweep}}, -150, {delayed({1.0}, 1000)}, 23050},
        {"a stereo room",
         {{played(sweep, left), delayed(played(sweep, right), 500)}, 44100.9},
         {{sweep}},
         -150,
         {left, delayed(right, 500)},
         25049},
        {"a stereo tone",
         {{played(sweep, left)}},
         {{sweep, delayed(other, 21026)}},
         -150,
         {left},
         25049},
        {"channels in turn",
         {{other, grain, other}},
         {{other, grain}},
         -150,
         {{1.0}, {1.0}, {1.0}},
         1024},
        {"no room for the wrap", {{turned}}, {{grain}}, -150, {delayed({1.0}, 5)}, 1024},
        {"one sample beyond a size",
         {{delayed(grain, 1)}},
         {{grain}},
         -150,
         {delayed({1.0}, 1)},
         1025},
        {"trimmed result", {{delayed(played(grain, echo), 9)}}, {{grain}}, -100, {echo}, 4},
        {"floor of full scale", {{played(sweep, {0.5})}}, {{sweep}}, 0, {{0.5}}, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        fakeMedia.files = {{"recording", c.recording}, {"tone", c.tone}};
        fakeMedia.written.clear();
        ASSERT_EQ(run(c.floor), MeasureOutcome::done);
        const WrittenFile &file = fakeMedia.written.at("out");
        EXPECT_EQ(file.rate, 44100);
        EXPECT_EQ(file.format, (std::vector<uint8_t>{0x65, 0x76, 0x61, 0x77, 24}));
        ASSERT_EQ(file.channels.size(), c.expected.size());
        for (size_t i = 0; i < c.expected.size(); ++i) {
            EXPECT_EQ(file.channels[i].size(), c.length);
            EXPECT_LT(difference(file.channels[i], c.expected[i]), 1e-12);
        }
    }
}

TEST_F(Deconvolver, TellsWhyItFailsAndLeavesNothing) {
    const FakeFile good{{noise(2000, 5)}}, none{{{}}}, deaf{{}, 44100.0, 1.0};
    const FakeFile endless{{noise(10, 1)}, 44100.0, 1e300},
        wide{{noise(10, 1)}, 44100.0, 1.0, INT32_MAX};
    struct Case {
        std::map<std::string, FakeFile> files;
        const char *message;
    };
    const char *const mismatch =
        "Sample rate mismatch between file to be deconvolved and test tone";
    const Case cases[] = {
        {{{"tone", good}}, "Error opening file to be deconvolved"},
        {{{"recording", good}}, "Error opening test tone"},
        {{{"recording", good}, {"tone", {{noise(9, 1)}, 44101.5}}}, mismatch},
        {{{"recording", none}, {"tone", good}}, "One or both files silent"},
        {{{"recording", good}, {"tone", {{}, 44100.0, nan}}}, "One or both files silent"},
        {{{"recording", endless}, {"tone", good}}, "Error allocating memory"},
        {{{"recording", good}, {"tone", {{}, 44100.0, 0x1p30 / 44100.0 + 1.0}}},
         "Error allocating memory"},
        {{{"recording", deaf}, {"tone", good}}, "Error decoding media"},
        {{{"recording", good}, {"tone", deaf}}, "Error decoding media"},
        {{{"recording", wide}, {"tone", good}}, "Error decoding media"},
    };
    largestRequest = 0;
    setAllocationGate(grantsAndNotesTheLargest);
    for (const Case &c : cases) {
        fakeMedia.files = c.files;
        EXPECT_STREQ(measureMessage(run(-150)), c.message);
        EXPECT_EQ(fakeMedia.liveObjects, 0);
    }
    // What can't be had is not asked for, since a system may promise more memory than it has.
    EXPECT_LT(largestRequest, 1u << 24);
    fakeMedia.files = {{"recording", good}, {"tone", good}};
    fakeMedia.refusesSinks = true;
    EXPECT_STREQ(measureMessage(run(-150)), "Error creating output file");
    hostFunctions.PCM_Sink_Create = nullptr;
    EXPECT_EQ(run(-150), MeasureOutcome::unavailable);
    EXPECT_TRUE(fakeMedia.written.empty());
}

TEST_F(Deconvolver, GivesAllMemoryBackWhicheverRequestIsRefused) {
    fakeMedia.files = {{"recording", {{noise(40000, 1), noise(40000, 2)}}},
                       {"tone", {{noise(40000, 3)}}}};
    std::map<MeasureOutcome, int> outcomes;
    for (int granted = 0; outcomes[MeasureOutcome::done] == 0; ++granted) {
        ASSERT_LT(granted, 100);
        allocationsLeft = granted;
        setAllocationGate(grantsWhileSomeAreLeft);
        const size_t before = heapInUse();
        const MeasureOutcome outcome = run(-150);
        if (outcome != MeasureOutcome::done) {
            EXPECT_EQ(heapInUse(), before) << granted;
            EXPECT_TRUE(fakeMedia.written.empty());
        }
        ++outcomes[outcome];
    }
    EXPECT_EQ(outcomes[MeasureOutcome::outOfMemory], 3);
    EXPECT_GE(outcomes[MeasureOutcome::decodingFailed], 5);
    EXPECT_EQ(outcomes.size(), 3u);
}

TEST_F(Deconvolver, CanBeCancelledAtEveryStepBeforeItWrites) {
    fakeMedia.files = {{"recording", {{noise(2000, 1), noise(2000, 2)}}},
                       {"tone", {{noise(900, 3)}}}};
    std::vector<double> fractions;
    ASSERT_EQ(run(-120, [&](double fraction) { return fractions.push_back(fraction), true; }),
              MeasureOutcome::done);
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_EQ(fractions.back(), 1.0);
    fakeMedia.written.clear();
    for (size_t i = 0; i + 1 < fractions.size(); ++i) {
        EXPECT_EQ(run(-120, [&](double fraction) { return fraction < fractions[i]; }),
                  MeasureOutcome::cancelled);
    }
    EXPECT_TRUE(fakeMedia.written.empty());
}

} // namespace tonvale
