#include "workbench/analysis/octave_filters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace tonvale::workbench {

namespace {

using std::numbers::pi;

constexpr int order = 4;          ///< of the low-pass that the band-pass comes from
constexpr double nothing = 16.12; ///< nepers: -140 dB

constexpr double octaveNames[] = {63, 125, 250, 500, 1000, 2000, 4000, 8000};
constexpr int firstOctave = -4;
constexpr double thirdNames[] = {50,   63,   80,   100,  125,  160,  200,  250,
                                 315,  400,  500,  630,  800,  1000, 1250, 1600,
                                 2000, 2500, 3150, 4000, 5000, 6300, 8000, 10000};
constexpr int firstThird = -13;

/// `width` is that of the bands in tenths of a decade, `first` the place of the lowest from 1 kHz
/// on.
std::vector<Band> bands(std::span<const double> names, int first, double width, double rate) {
    std::vector<Band> found;
    for (const double name : names) {
        const double middle = 1000 * std::pow(10.0, first++ * width / 10);
        const double edge = std::pow(10.0, width / 20);
        const Band band{name, middle, middle / edge, middle * edge};
        if (band.high < rate / 2)
            found.push_back(band);
    }
    return found;
}

} // namespace

std::vector<Band> octaves(double rate) {
    return bands(octaveNames, firstOctave, 3, rate);
}

std::vector<Band> thirdOctaves(double rate) {
    return bands(thirdNames, firstThird, 1, rate);
}

BandFilter::BandFilter(const Band &band, double rate) {
    using Complex = std::complex<double>;
    const double low = std::tan(pi * band.low / rate);
    const double high = std::tan(pi * band.high / rate);
    const double square = low * high;
    const Complex middle = std::polar(1.0, 2 * std::atan(std::sqrt(square)));
    double slowest = 0;
    for (int k = 0; k < order / 2; ++k) {
        const Complex half = std::polar((high - low) / 2, pi / 2 + pi * (2 * k + 1) / (2 * order));
        const Complex root = std::sqrt(half * half - square);
        for (const Complex pole : {half + root, half - root}) {
            const Complex z = (1.0 + pole) / (1.0 - pole);
            Section section{1, -2 * z.real(), std::norm(z)};
            const Complex below = 1.0 + section.a1 / middle + section.a2 / (middle * middle);
            section.gain = std::abs(below / (1.0 - 1.0 / (middle * middle)));
            sections.push_back(section);
            slowest = std::max(slowest, std::abs(z));
        }
    }
    ringing = static_cast<size_t>(std::ceil(nothing / -std::log(slowest)));
}

template <typename Source, typename Sink>
void BandFilter::run(size_t count, const Source &source, const Sink &sink) const {
    if (sections.empty()) {
        for (size_t i = 0; i < count; ++i)
            sink(i, source(i));
        return;
    }
    std::array<Section, order> s;
    std::copy_n(sections.begin(), order, s.begin());
    double first[order] = {}, second[order] = {};
    const auto pass = [&](double x) {
        for (size_t k = 0; k < order; ++k) {
            const double in = s[k].gain * x;
            const double out = in + first[k];
            first[k] = second[k] - s[k].a1 * out;
            second[k] = -in - s[k].a2 * out;
            x = out;
        }
        return x;
    };
    for (size_t i = 0; i < count; ++i)
        sink(i, pass(source(i)));
    for (size_t i = count; i < count + ringing; ++i)
        sink(i, pass(0.0));
}

std::vector<double> BandFilter::backwards(std::span<const double> samples) const {
    std::vector<double> filtered(samples.size());
    const size_t last = samples.size() - 1;
    run(
        samples.size(), [&](size_t i) { return samples[last - i]; },
        [&](size_t i, double x) {
            if (i <= last)
                filtered[last - i] = x;
        });
    return filtered;
}

double BandFilter::energy(std::span<const double> samples) const {
    double sum = 0;
    run(
        samples.size(), [&](size_t i) { return samples[i]; },
        [&](size_t, double x) { sum += x * x; });
    return sum;
}

BandFilter::Moments BandFilter::moments(std::span<const double> samples) const {
    if (samples.empty())
        return {0, 0};
    double sum = 0, forwards = 0, behindLast = 0;
    const size_t last = samples.size() - 1;
    run(
        samples.size(), [&](size_t i) { return samples[i]; },
        [&](size_t i, double x) {
            sum += x * x;
            forwards += x * x * static_cast<double>(i);
        });
    run(
        samples.size(), [&](size_t i) { return samples[last - i]; },
        [&](size_t i, double x) { behindLast += x * x * static_cast<double>(i); });
    return {sum, (forwards + sum * static_cast<double>(last) - behindLast) / 2};
}

double BandFilter::gainAt(double frequency, double rate) const {
    const std::complex<double> z = std::polar(1.0, -2 * pi * frequency / rate);
    double gain = 1;
    for (const Section &section : sections)
        gain *= std::abs(section.gain * (1.0 - z * z) / (1.0 + z * (section.a1 + z * section.a2)));
    return gain;
}

} // namespace tonvale::workbench
