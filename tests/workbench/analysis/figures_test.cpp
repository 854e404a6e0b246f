#include "workbench/analysis/interaural.h"
#include "workbench/analysis/responses.h"

#include <complex>
#include <gtest/gtest.h>
#include <sndfile.hh>

namespace tonvale::test {
namespace {

using namespace workbench;
using std::numbers::pi;

struct Limit {
    double octaves; ///< from the middle, either way
    double least, most;
};

// Class 1 of IEC 61260-1, attenuations in dB; between the edges and an octave away the least grows.
constexpr Limit classOne[] = {{0, -0.4, 0.4},     {0.125, -0.4, 0.5}, {0.25, -0.4, 0.7},
                              {0.375, -0.4, 1.4}, {0.499, -0.4, 5.3}, {0.501, 1.6, 400},
                              {1, 16.6, 400},     {2, 40.5, 400},     {3, 60, 400},
                              {4, 70, 400}};

TEST(OctaveFilters, KeepToClassOneAtEveryRateAndInEveryBand) {
    for (const double rate :
         {8000.0, 12000.0, 22050.0, 24000.0, 32000.0, 44100.0, 48000.0, 192000.0}) {
        for (const bool thirds : {false, true}) {
            const auto bands = thirds ? thirdOctaves(rate) : octaves(rate);
            ASSERT_FALSE(bands.empty());
            for (const Band &band : bands) {
                const BandFilter filter(band, rate);
                for (const Limit &limit : classOne) {
                    // Of a third octave the limits lie nearer, by the standard's formula.
                    const double whole = std::pow(10, 0.3 * limit.octaves);
                    const double away = thirds ? 1 + (std::pow(10, 0.05) - 1) /
                                                         (std::pow(10, 0.15) - 1) * (whole - 1)
                                               : whole;
                    for (const double hz : {band.middle * away, band.middle / away}) {
                        if (hz >= rate / 2)
                            continue;
                        const double loss = -20 * std::log10(filter.gainAt(hz, rate));
                        EXPECT_GE(loss, limit.least) << rate << ' ' << band.nominal << ' ' << hz;
                        EXPECT_LE(loss, limit.most) << rate << ' ' << band.nominal << ' ' << hz;
                    }
                }
            }
        }
    }
}

void expectClosedForm(const RoomFigures &found, double seconds, double error) {
    const double fall = 6 * std::numbers::ln10 / seconds;
    ASSERT_TRUE(found.t20 && found.t30 && found.edt && found.c50 && found.c80 && found.d50);
    EXPECT_NEAR(*found.t30 / seconds, 1, error);
    EXPECT_NEAR(*found.t20 / seconds, 1, 1.5 * error);
    EXPECT_NEAR(*found.edt / seconds, 1, 2 * error);
    EXPECT_NEAR(*found.c50, 10 * std::log10(std::expm1(fall * 0.05)), 0.1);
    EXPECT_NEAR(*found.c80, 10 * std::log10(std::expm1(fall * 0.08)), 0.1);
    EXPECT_NEAR(*found.d50, -std::expm1(-fall * 0.05), 0.006);
    EXPECT_NEAR(*found.centreTime * fall, 1, 0.02);
}

TEST(RoomFigures, AreThoseOfExponentialDecaysInNoiseBroadbandAndInEachBand) {
    for (const double noiseDb : {47.5, 60.0}) {
        for (const double seconds : {0.6, 1.7, 4.0}) {
            SCOPED_TRACE(testing::Message() << seconds << " s, " << noiseDb << " dB");
            // The mean of several, since a random decay has a chance of its own.
            RoomFigures mean{{}, 0, 0, 0, 0, 0, 0, 0, 0, {}, {}, 0};
            constexpr int count = 8;
            for (uint32_t seed = 1; seed <= count; ++seed) {
                const auto samples = response({48000, seconds, 1.4, noiseDb}, 2000, seed);
                const RoomFigures found = analyseChannel(samples, 48000, {}).bands.front();
                for (const auto figure : {&RoomFigures::edt, &RoomFigures::t20, &RoomFigures::t30,
                                          &RoomFigures::c50, &RoomFigures::c80, &RoomFigures::d50,
                                          &RoomFigures::centreTime, &RoomFigures::impulseToNoise})
                    *(mean.*figure) += (found.*figure).value_or(1e9) / count;
            }
            expectClosedForm(mean, seconds, 0.01);
            EXPECT_NEAR(*mean.impulseToNoise, noiseDb, 0.3);
        }
    }
    for (const Band &band : octaves(48000)) {
        SCOPED_TRACE(band.nominal);
        // Where periods are long, the parts before and behind 50 ms share some.
        if (band.nominal < 250)
            continue;
        const double width = 10 * std::log10(24000 / (band.high - band.low));
        const double inr = band.nominal < 1000 ? 60 : 47.5;
        const auto samples = response({48000, 1.7, 1.4, inr - width, band.middle}, 2000, 9);
        const auto found = analyseChannel(samples, 48000, std::span(&band, 1)).bands[1];
        expectClosedForm(found, 1.7, band.nominal < 1000 ? 0.02 : 0.01);
    }
}

TEST(RoomFigures, AreLeftOutWhereTheNoiseDoesNotAllowThem) {
    struct Case {
        double inr;
        bool t30, t20, others;
    };
    for (const auto &[inr, t30, t20, others] : {Case{48, true, true, true},
                                                {41, false, true, true},
                                                {29, false, false, true},
                                                {16, false, false, false}}) {
        // A click of a direct sound stands out of any of these noises.
        auto samples = response({48000, 1, 2, inr}, 1000, 4);
        samples[1000] = 30;
        const auto found = analyseChannel(samples, 48000, {}).bands.front();
        EXPECT_NEAR(found.impulseToNoise.value_or(0), inr, 2.5);
        EXPECT_EQ(found.t30.has_value(), t30) << inr;
        EXPECT_EQ(found.t20.has_value(), t20) << inr;
        for (const auto &figure : {found.edt, found.c50, found.c80, found.d50, found.centreTime})
            EXPECT_EQ(figure.has_value(), others) << inr;
    }
}

void transform(std::vector<std::complex<double>> &values, int sign) {
    const size_t n = values.size();
    if (n == 1)
        return;
    std::vector<std::complex<double>> even, odd;
    for (size_t i = 0; i < n; i += 2) {
        even.push_back(values[i]);
        odd.push_back(values[i + 1]);
    }
    transform(even, sign);
    transform(odd, sign);
    for (size_t k = 0; k < n / 2; ++k) {
        const double angle = sign * 2 * pi * static_cast<double>(k) / static_cast<double>(n);
        const auto turned = odd[k] * std::polar(1.0, angle);
        values[k] = even[k] + turned;
        values[k + n / 2] = even[k] - turned;
    }
}

/// Filtered by the magnitude alone, at once over all time: what the spectrum of a Butterworth
/// band-pass lets through, as it stands in textbooks. What comes before time 0 is at the end.
std::vector<long double> filtered(std::span<const double> samples, double rate, const Band &band) {
    std::vector<std::complex<double>> values(size_t{1} << 17);
    std::copy(samples.begin(), samples.end(), values.begin());
    transform(values, -1);
    const auto warped = [&](double hz) { return std::tan(pi * hz / rate); };
    const double low = warped(band.low), high = warped(band.high);
    for (size_t k = 0; k < values.size(); ++k) {
        const double hz = static_cast<double>(std::min(k, values.size() - k)) * rate /
                          static_cast<double>(values.size());
        const double at = warped(std::min(hz, rate * 0.499999));
        const double away = k == 0 ? 1e9 : (at * at - low * high) / (at * (high - low));
        values[k] /= std::sqrt(1 + std::pow(away, 8.0)) * static_cast<double>(values.size());
    }
    transform(values, 1);
    std::vector<long double> result;
    for (const auto &value : values)
        result.push_back(value.real());
    return result;
}

long double energyOf(std::span<const long double> samples) {
    long double sum = 0;
    for (const long double x : samples)
        sum += x * x;
    return sum;
}

/// From the plain backward sum, straight from -5 to -25 dB by sums over all points.
double plainT20(std::span<const long double> samples, double rate) {
    const long double all = energyOf(samples);
    long double left = all, n = 0, x = 0, y = 0, xx = 0, xy = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const long double level = 10 * std::log10(left / all), t = static_cast<double>(i) / rate;
        if (level < -25)
            break;
        if (level <= -5)
            n += 1, x += t, y += level, xx += t * t, xy += t * level;
        left -= samples[i] * samples[i];
    }
    return static_cast<double>(-60 * (n * xx - x * x) / (n * xy - x * y));
}

/// Rooms that were measured, 48 kHz, so clean that they show no noise.
const char *const measuredRooms[] = {
    "/usr/share/jconvolver/config-files/demo-reverbs/street2-L.wav",
    "/usr/share/jconvolver/config-files/demo-reverbs/street2-R.wav",
    "/usr/share/gx_head/sounds/greathall.wav"};

TEST(RoomFigures, OfMeasuredRoomsAreThoseOfAPlainModelAndStandInNoise) {
    int compared = 0;
    for (const char *const path : measuredRooms) {
        SndfileHandle file(path);
        ASSERT_EQ(file.samplerate(), 48000) << path;
        const auto width = static_cast<size_t>(file.channels());
        std::vector<double> all(static_cast<size_t>(file.frames()) * width), room;
        file.read(all.data(), static_cast<sf_count_t>(all.size()));
        for (size_t i = 0; i < all.size(); i += width)
            room.push_back(all[i]);
        const auto bands = octaves(48000);
        const ChannelFigures clean = analyseChannel(room, 48000, bands);
        ASSERT_TRUE(clean.start);
        auto noisy = room;
        noisy.resize(room.size() + 48000);
        const auto hiss = noise(noisy.size(), 5);
        for (size_t i = 0; i < noisy.size(); ++i)
            noisy[i] += 3e-5 * hiss[i];
        const ChannelFigures heard = analyseChannel(noisy, 48000, bands);
        for (const size_t b : {2, 4, 5, 6, 7}) {
            SCOPED_TRACE(testing::Message() << path << ' ' << bands[b].nominal);
            const RoomFigures &found = clean.bands[b + 1];
            // Else the file ends before the plain sum would be right.
            if (!found.t30)
                continue;
            ++compared;
            const auto sound = std::span(room).subspan(*clean.start);
            for (const auto &[time, figure] :
                 {std::pair{0.05, found.c50}, std::pair{0.08, found.c80}}) {
                ASSERT_TRUE(figure);
                const auto split = static_cast<size_t>(std::lround(time * 48000));
                const auto early = energyOf(filtered(sound.first(split), 48000, bands[b]));
                const auto late = energyOf(filtered(sound.subspan(split), 48000, bands[b]));
                EXPECT_NEAR(*figure, static_cast<double>(10 * std::log10(early / late)), 0.1);
            }
            const auto band = filtered(room, 48000, bands[b]);
            const double model =
                plainT20(std::span(band).subspan(*clean.start, sound.size()), 48000);
            EXPECT_NEAR(*found.t20 / model, 1, 0.03);
            EXPECT_NEAR(heard.bands[b + 1].t20.value_or(*found.t20) / *found.t20, 1, 0.03);
        }
    }
    EXPECT_GE(compared, 7);
}

TEST(Interaural, IsOneForADelayedCopyUpToAMillisecondAndFallsWithForeignSound) {
    const auto left = response({48000, 0.8, 1.5, 70}, 500, 1);
    const auto other = response({48000, 0.8, 1.5, 70}, 500, 2);
    const auto of = [&](const std::vector<double> &right) {
        return interaural(left, analyseChannel(left, 48000, {}), right,
                          analyseChannel(right, 48000, {}), 48000);
    };
    Samples inverted = delayed(left, 40), late = delayed(left, 60), mixed = left;
    for (double &x : inverted)
        x = -0.3 * x;
    inverted.resize(left.size());
    late.resize(left.size());
    for (size_t i = 0; i < mixed.size(); ++i)
        mixed[i] = 0.6 * left[i] + 0.8 * other[i];
    EXPECT_NEAR(of(inverted).early.value_or(0), 1, 0.02);
    EXPECT_NEAR(of(inverted).late.value_or(0), 1, 0.02);
    EXPECT_LT(of(late).early.value_or(1), 0.2);
    EXPECT_NEAR(of(mixed).late.value_or(0), 0.6, 0.05);
    EXPECT_FALSE(of(Samples(left.size())).early);
}

} // namespace
} // namespace tonvale::test
