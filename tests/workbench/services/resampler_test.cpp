#include "workbench/services/resampler.h"

#include "host/host_object_ptr.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

namespace tonvale::workbench {

namespace {

using Resampler = HostObjectPtr<ResamplerHandle>;

constexpr double pi = std::numbers::pi;

/// What channel `channel` carries at a time in seconds.
using Signal = std::function<double(double seconds, int channel)>;

struct Stream {
    double inRate;
    double outRate;
    int channels;
    int inFrames;
    int frames(const std::vector<double> &samples) const {
        return static_cast<int>(samples.size()) / channels;
    }
};

/// The whole input in blocks of `block` output frames. The handle is told when the input ends;
/// or, with `wanted` frames, it is padded with silence, by a caller that stops as soon as it is in.
std::vector<double> convert(ResamplerHandle &handle, const Stream &s, const Signal &signal,
                            int block, int wanted = 0) {
    std::vector<double> result;
    std::vector<double> out(static_cast<size_t>(block * s.channels));
    for (int consumed = 0; !wanted || consumed < s.inFrames;) {
        const int want = wanted ? std::min(wanted - s.frames(result), block) : block;
        double *place = nullptr;
        const int count = handle.Prepare(want, s.channels, &place);
        int given = 0;
        if (place && count > 0)
            given = wanted ? count : std::min(count, s.inFrames - consumed);
        for (int n = consumed; n < consumed + given; ++n)
            for (int c = 0; c < s.channels; ++c)
                *place++ = n < s.inFrames ? signal(n / s.inRate, c) : 0.0;
        consumed += given;
        const int got = handle.Out(out.data(), given, want, s.channels);
        result.insert(result.end(), out.begin(), out.begin() + got * s.channels);
        if (got == 0 && given == 0)
            break;
    }
    return result;
}

/// How far the frames from `first` up to `end` are from the signal at their times, at the most.
double worstError(const std::vector<double> &out, const Stream &s, const Signal &signal, int first,
                  int end) {
    double worst = 0.0;
    for (int i = first * s.channels; i < end * s.channels; ++i)
        worst = std::max(worst, std::abs(out[static_cast<size_t>(i)] -
                                         signal(i / s.channels / s.outRate, i % s.channels)));
    return worst;
}

} // namespace

TEST(Resampler, TurnsSinesIntoTheSameSinesWithoutDelayInBlocksOfAnyLength) {
    const auto sine = [](double seconds, int c) {
        return std::sin(2.0 * pi * (300.0 + 50.0 * c) * seconds);
    };
    const Stream streams[] = {{44100, 48000, 1, 44100},   {96000, 44100, 3, 50000},
                              {1000, 256000, 1, 4000},    {256000, 1000, 1, 600000},
                              {512000, 1000, 1, 1100000}, {48000, 48000, 2, 5000},
                              {44100, 44363.7, 2, 20000}, {48000, 96000, 3, 2000}};
    for (const Stream &s : streams)
        for (int mode : {0, 4}) {
            const Resampler handle(createResampler());
            handle->SetRates(s.inRate, s.outRate);
            EXPECT_EQ(handle->Extended(resamplerSetMode, mode, 0, 0), 1);
            const std::vector<double> out = convert(*handle, s, sine, mode == 0 ? 17 : 1024);
            EXPECT_NEAR(s.frames(out), s.inFrames * s.outRate / s.inRate, 1.0);
            // The ends ring, since the sine starts and stops at once.
            const int ringing = static_cast<int>(900 * std::max(1.0, s.outRate / s.inRate));
            const double error = worstError(out, s, sine, ringing, s.frames(out) - ringing);
            EXPECT_LT(error, mode == 4 ? 1e-8 : 2e-6) << s.inRate << " " << s.outRate;
        }
}

TEST(Resampler, GivesACallerThatStopsWithoutFlushAllUpToTheEnd) {
    for (int length : {1, 100, 512, 3072, 20000})
        for (double ratio : {0.002, 0.1, 0.9, 1.006, 2.0, 3.0, 6.0, 10.0, 15.0}) {
            const Stream s{48000.0, ratio * 48000.0, length == 512 && ratio > 1.0 ? 130 : 2,
                           length};
            // A short sound that ends with the input, well within the band of either rate.
            const double scale = std::min(1.0, ratio);
            const auto sound = [&](double seconds, int c) {
                const double t = (seconds * s.inRate - length) * scale + 40.0;
                return (c % 7 + 1) * std::exp(-t * t / 36.0) * std::cos(0.4 * pi * t);
            };
            const int wanted = std::max(1, static_cast<int>(length * ratio + 0.5));
            const Resampler handle(createResampler());
            handle->SetRates(s.inRate, s.outRate);
            const std::vector<double> out = convert(*handle, s, sound, 1024, wanted);
            EXPECT_EQ(s.frames(out), wanted) << length << " " << ratio;
            if (length * scale >= 80.0) {
                EXPECT_LT(worstError(out, s, sound, 0, s.frames(out)), 1e-5)
                    << length << " " << ratio;
            }
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
        EXPECT_EQ(handle->Extended(resamplerSetMode, bad | 1, 0, 0), 0) << bad;
    }
    EXPECT_EQ(handle->Extended(1, 4, 0, 0), 0);

    EXPECT_LE(asked(256000.0, 1000.0, 1000, 1024), 4096);
    const int count = asked(44100.0, 48000.0, INT32_MAX, 1024);
    ASSERT_GT(count, 0);
    std::fill_n(place, static_cast<ptrdiff_t>(count) * 1024, NAN);
    EXPECT_EQ(handle->Out(nullptr, INT32_MAX, 8, 1024), 0);
}

} // namespace tonvale::workbench
