#include "workbench/services/resampler.h"

#include "test_folder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <numbers>
#include <vector>

namespace tonvale::workbench {

namespace {

using Resampler = std::unique_ptr<ResamplerHandle, Destroy>;

/// Channel c carries a sine of 300 (c + 1) Hz.
double model(double seconds, int channel) {
    return std::sin(2.0 * std::numbers::pi * 300.0 * (channel + 1) * seconds);
}

struct Stream {
    double inRate;
    double outRate;
    int channels;
    int inFrames;
};

/// The whole input in blocks of `block` output frames. The handle is told when the input ends;
/// or, with `wanted` frames, it is padded with silence, by a caller that stops as soon as it is in.
std::vector<double> convert(ResamplerHandle &handle, const Stream &s, int block, int wanted = 0) {
    std::vector<double> result;
    std::vector<double> out(static_cast<size_t>(block * s.channels));
    for (int consumed = 0; !wanted || consumed < s.inFrames;) {
        const int done = static_cast<int>(result.size()) / s.channels;
        const int want = wanted ? std::min(wanted - done, block) : block;
        double *place = nullptr;
        const int count = handle.Prepare(want, s.channels, &place);
        int given = 0;
        if (place && count > 0)
            given = wanted ? count : std::min(count, s.inFrames - consumed);
        for (int n = consumed; n < consumed + given; ++n)
            for (int c = 0; c < s.channels; ++c)
                *place++ = n < s.inFrames ? model(n / s.inRate, c) : 0.0;
        consumed += given;
        const int got = handle.Out(out.data(), given, want, s.channels);
        result.insert(result.end(), out.begin(), out.begin() + got * s.channels);
        if (got == 0 && given == 0)
            break;
    }
    return result;
}

} // namespace

TEST(Resampler, TurnsSinesIntoTheSameSinesWithoutDelayInBlocksOfAnyLength) {
    const Stream streams[] = {{44100, 48000, 1, 44100}, {96000, 44100, 3, 50000},
                              {1000, 256000, 1, 4000},  {256000, 1000, 1, 1500000},
                              {48000, 48000, 2, 5000},  {44100, 44363.7, 2, 20000}};
    for (const Stream &s : streams)
        for (int mode : {3, 4}) {
            const Resampler handle(createResampler());
            handle->SetRates(s.inRate, s.outRate);
            EXPECT_EQ(handle->Extended(resamplerSetMode, mode, 0, 0), 1);
            const std::vector<double> out = convert(*handle, s, mode == 3 ? 17 : 1024);
            const int frames = static_cast<int>(out.size()) / s.channels;
            EXPECT_NEAR(frames, s.inFrames * s.outRate / s.inRate, 1.0);
            // The ends ring, since the sine starts and stops at once.
            const int ringing = static_cast<int>(1000 * std::max(1.0, s.outRate / s.inRate));
            double worst = 0.0;
            for (int i = ringing * s.channels; i < (frames - ringing) * s.channels; ++i) {
                const double wanted = model(i / s.channels / s.outRate, i % s.channels);
                worst = std::max(worst, std::abs(out[static_cast<size_t>(i)] - wanted));
            }
            EXPECT_LT(worst, mode == 4 ? 1e-7 : 2e-5) << s.inRate << " " << s.outRate;
        }
}

TEST(Resampler, HoldsLittleBackFromACallerThatStopsWithoutFlush) {
    for (int length : {1, 100, 900, 4800, 48000})
        for (double ratio : {0.9, 1.006, 2.0, 10.0}) {
            const Stream stream{48000.0, ratio * 48000.0, 2, length};
            const int wanted = static_cast<int>(length * ratio + 0.5);
            const Resampler handle(createResampler());
            handle->SetRates(stream.inRate, stream.outRate);
            const auto got = static_cast<int>(convert(*handle, stream, 1024, wanted).size()) / 2;
            // Only a block of the filter that is longer than the last read's room stays behind.
            const double most = ratio > 2.0 && wanted > 1024 ? 420.0 : 0.0;
            EXPECT_TRUE(got <= wanted && (wanted - got) / ratio <= most) << length << " " << ratio;
        }
}

TEST(Resampler, AnswersNothingForRatesAndCountsThatMakeNoSense) {
    const Resampler handle(createResampler());
    double *place = nullptr;
    const auto asked = [&](double in, double out, int frames, int channels) {
        handle->SetRates(in, out);
        return handle->Prepare(frames, channels, &place);
    };
    for (double bad : {0.0, -48000.0, static_cast<double>(NAN), HUGE_VAL, 1e300, 1e-300})
        EXPECT_EQ(asked(bad, 48000.0, 8, 1) + asked(48000.0, bad, 8, 1), 0) << bad;
    for (int bad : {INT32_MIN, -1, 0, 1025, INT32_MAX}) {
        EXPECT_EQ(asked(44100.0, 48000.0, 8, bad), 0) << bad;
        EXPECT_EQ(asked(44100.0, 48000.0, std::min(bad, 0), 1), 0) << bad;
        EXPECT_EQ(handle->Extended(resamplerSetMode, bad | 5, 0, 0), 0) << bad;
    }
    EXPECT_EQ(handle->Extended(1, 4, 0, 0), 0);

    const int count = asked(44100.0, 48000.0, INT32_MAX, 1024);
    ASSERT_GT(count, 0);
    std::fill_n(place, static_cast<ptrdiff_t>(count) * 1024, NAN);
    EXPECT_EQ(handle->Out(nullptr, INT32_MAX, 8, 1024), 0);
}

} // namespace tonvale::workbench
