#include "workbench/services/resampler.h"

#include "test_folder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

namespace tonvale::workbench {

namespace {

using Resampler = std::unique_ptr<ResamplerHandle, Destroy>;

double sine(double seconds, double hertz) {
    return std::sin(2.0 * std::numbers::pi * hertz * seconds);
}

/// Channel c carries a sine of 300 (c + 1) Hz.
double model(double seconds, int channel) {
    return sine(seconds, 300.0 * (channel + 1));
}

struct Stream {
    double inRate;
    double outRate;
    int channels;
    int inFrames;
};

void feed(const Stream &stream, double *place, int from, int count) {
    for (int n = 0; n < count; ++n)
        for (int c = 0; c < stream.channels; ++c)
            *place++ = from + n < stream.inFrames ? model((from + n) / stream.inRate, c) : 0.0;
}

/// The whole input, told when it ends, in blocks of `block` output frames.
std::vector<double> convertFile(ResamplerHandle &handle, const Stream &stream, int block) {
    std::vector<double> result;
    std::vector<double> out(static_cast<size_t>(block * stream.channels));
    for (int consumed = 0;;) {
        double *place = nullptr;
        const int count = handle.Prepare(block, stream.channels, &place);
        int given = 0;
        if (place && count > 0) {
            given = std::min(count, stream.inFrames - consumed);
            feed(stream, place, consumed, given);
            consumed += given;
        }
        const int got = handle.Out(out.data(), given, block, stream.channels);
        result.insert(result.end(), out.begin(), out.begin() + got * stream.channels);
        if (got == 0 && given == 0)
            return result;
    }
}

/// As a caller does that pads with silence and stops as soon as all input is in.
int stretchedFrames(ResamplerHandle &handle, const Stream &stream, int wanted) {
    std::vector<double> out(static_cast<size_t>(1024 * stream.channels));
    int done = 0;
    for (int consumed = 0; consumed < stream.inFrames;) {
        const int want = std::min(wanted - done, 1024);
        double *place = nullptr;
        const int count = handle.Prepare(want, stream.channels, &place);
        if (place && count > 0)
            feed(stream, place, consumed, count);
        consumed += count;
        const int got = handle.Out(out.data(), count, want, stream.channels);
        done += got;
        if (got == 0 && (!place || count < 1))
            break;
    }
    return done;
}

} // namespace

TEST(Resampler, TurnsSinesIntoTheSameSinesAtTheOtherRateWithoutDelay) {
    const Stream streams[] = {{44100, 48000, 1, 44100},   {48000, 44100, 2, 30000},
                              {96000, 44100, 3, 50000},   {22050, 48000, 1, 9999},
                              {1000, 256000, 1, 4000},    {256000, 1000, 1, 1500000},
                              {44100, 44363.7, 2, 20000}, {48000, 48000, 2, 5000}};
    for (const Stream &stream : streams)
        for (int mode : {3, 4}) {
            const Resampler handle(createResampler());
            handle->SetRates(stream.inRate, stream.outRate);
            EXPECT_EQ(handle->Extended(resamplerSetMode, mode, 0, 0), 1);
            const std::vector<double> out = convertFile(*handle, stream, 1024);
            const auto frames = static_cast<int>(out.size()) / stream.channels;
            EXPECT_NEAR(frames, stream.inFrames * stream.outRate / stream.inRate, 1.0);
            // The ends ring, since the sine starts and stops at once.
            const int ringing =
                static_cast<int>(1000 * std::max(1.0, stream.outRate / stream.inRate));
            double worst = 0.0;
            for (int n = ringing; n < frames - ringing; ++n)
                for (int c = 0; c < stream.channels; ++c)
                    worst =
                        std::max(worst, std::abs(out[static_cast<size_t>(n * stream.channels + c)] -
                                                 model(n / stream.outRate, c)));
            EXPECT_LT(worst, mode == 4 ? 1e-7 : 2e-5) << stream.inRate << " " << stream.outRate;
        }
}

TEST(Resampler, GivesTheSameWhateverTheBlockLength) {
    const Stream stream{44100, 48000, 2, 12000};
    const Resampler handle(createResampler());
    handle->SetRates(stream.inRate, stream.outRate);
    const std::vector<double> whole = convertFile(*handle, stream, 1024);
    for (int block : {1, 17, 5000}) {
        handle->Reset();
        const std::vector<double> parts = convertFile(*handle, stream, block);
        ASSERT_EQ(parts.size(), whole.size());
        for (size_t i = 0; i < whole.size(); ++i)
            ASSERT_NEAR(parts[i], whole[i], 1e-12) << block;
    }
}

TEST(Resampler, HoldsLittleBackFromACallerThatStopsWithoutFlush) {
    for (int length : {1, 100, 500, 900, 1500, 4800, 20000, 48000})
        for (double ratio : {0.1, 0.5, 0.9, 1.006, 1.5, 2.0, 10.0}) {
            const int wanted = static_cast<int>(length * ratio + 0.5);
            if (wanted < 1)
                continue;
            const Resampler handle(createResampler());
            handle->Reset();
            handle->SetRates(48000.0, ratio * 48000.0);
            const int got = stretchedFrames(*handle, {48000.0, ratio * 48000.0, 2, length}, wanted);
            EXPECT_LE(got, wanted);
            // Only a block of the filter that is longer than the last read's room stays behind.
            if (ratio > 2.0 && wanted > 1024)
                EXPECT_LE((wanted - got) / ratio, 420.0) << length << " " << ratio;
            else
                EXPECT_EQ(got, wanted) << length << " " << ratio;
        }
}

TEST(Resampler, AnswersNothingForRatesAndCountsThatMakeNoSense) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const Resampler handle(createResampler());
    double *place = nullptr;
    double out[16] = {};
    EXPECT_EQ(handle->Prepare(8, 1, &place), 0);
    for (double bad : {0.0, -48000.0, nan, infinity, 1e300, 1e-300}) {
        handle->SetRates(48000.0, bad);
        EXPECT_EQ(handle->Prepare(8, 1, &place), 0) << bad;
        EXPECT_EQ(place, nullptr);
        EXPECT_EQ(handle->Out(out, 8, 8, 1), 0);
        handle->SetRates(bad, 48000.0);
        EXPECT_EQ(handle->Prepare(8, 1, &place), 0) << bad;
    }
    handle->SetRates(44100.0, 48000.0);
    for (int bad : {INT32_MIN, -1, 0, 1025, INT32_MAX})
        EXPECT_EQ(handle->Prepare(8, bad, &place), 0) << bad;
    for (int bad : {INT32_MIN, -1, 0})
        EXPECT_EQ(handle->Prepare(bad, 1, &place), 0) << bad;
    EXPECT_EQ(handle->Prepare(8, 1, nullptr), 0);
    EXPECT_EQ(handle->Extended(resamplerSetMode, 5, 0, 0), 0);
    EXPECT_EQ(handle->Extended(resamplerSetMode, -1, 0, 0), 0);
    EXPECT_EQ(handle->Extended(1, 4, 0, 0), 0);

    const int count = handle->Prepare(INT32_MAX, 1024, &place);
    EXPECT_GT(count, 0);
    ASSERT_NE(place, nullptr);
    std::fill(place, place + static_cast<ptrdiff_t>(count) * 1024, nan);
    EXPECT_EQ(handle->Out(nullptr, INT32_MAX, 8, 1024), 0);
}

} // namespace tonvale::workbench
