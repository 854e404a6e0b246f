// Makes of clean recordings those that real devices give, and tells how far a response that was
// measured is from the one that is known:
//
//   measuring_bench IN OUT [direct=DB] [lead=SECONDS] [noise=DB] [drift=PPM] [rate=HZ] [clip=DB]
//                          [gaps=COUNT] [channel=NUMBER] [seconds=LENGTH]
//   measuring_bench errors KNOWN MEASURED
//
// Each word does its work on what those before it left.

#include "measure/complex_transform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <numbers>
#include <random>
#include <sndfile.hh>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using std::numbers::pi;
using Samples = std::vector<double>;
using Complex = std::complex<double>;

struct Sound {
    double rate = 0.0;
    std::vector<Samples> channels;
};

double factor(double decibels) {
    return std::pow(10.0, decibels / 20.0);
}

size_t placeOfPeak(const Samples &samples) {
    const auto quieter = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
    return static_cast<size_t>(std::max_element(samples.begin(), samples.end(), quieter) -
                               samples.begin());
}

double peakOf(const Sound &sound) {
    double peak = 0.0;
    for (const Samples &samples : sound.channels)
        peak = std::max(peak, std::fabs(samples[placeOfPeak(samples)]));
    return peak;
}

Sound readSound(const std::string &path) {
    SndfileHandle file(path);
    if (file.error() || file.frames() < 1)
        throw std::runtime_error(path + " can't be read");
    const auto width = static_cast<size_t>(file.channels());
    const auto length = static_cast<size_t>(file.frames());
    Samples frames(width * length);
    file.readf(frames.data(), file.frames());
    Sound sound{static_cast<double>(file.samplerate()), std::vector<Samples>(width)};
    for (size_t i = 0; i < frames.size(); ++i)
        sound.channels[i % width].push_back(frames[i]);
    return sound;
}

void writeSound(const std::string &path, const Sound &sound) {
    const size_t width = sound.channels.size();
    Samples frames(width * sound.channels[0].size());
    for (size_t i = 0; i < frames.size(); ++i)
        frames[i] = sound.channels[i % width][i / width];
    SndfileHandle file(path, SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_FLOAT, static_cast<int>(width),
                       static_cast<int>(sound.rate));
    if (file.write(frames.data(), static_cast<sf_count_t>(frames.size())) !=
        static_cast<sf_count_t>(frames.size()))
        throw std::runtime_error(path + " can't be written");
}

constexpr int sincReach = 96; // samples, either way

/// A Kaiser window over the sinc's reach, which lets no more than -140 dB of other pitches in.
double windowAt(double away) {
    constexpr int steps = 65536;
    static const Samples table = [] {
        Samples values;
        for (int i = 0; i <= steps + 1; ++i) {
            const double share = std::min(1.0, static_cast<double>(i) / steps);
            values.push_back(std::cyl_bessel_i(0.0, 14.0 * std::sqrt(1.0 - share * share)));
        }
        return values;
    }();
    const double place = std::min(std::fabs(away) / sincReach, 1.0) * steps;
    const auto step = static_cast<size_t>(place);
    return std::lerp(table[step], table[step + 1], place - std::floor(place)) / table[0];
}

/// A sample between others, of what lies below `band` of half the rate.
double sampleAt(const Samples &samples, double place, double band) {
    const auto middle = static_cast<int64_t>(std::floor(place));
    const auto first = std::max<int64_t>(middle - sincReach + 1, 0);
    const auto last =
        std::min<int64_t>(middle + sincReach, static_cast<int64_t>(samples.size()) - 1);
    double sum = 0.0;
    for (int64_t i = first; i <= last; ++i) {
        const double away = place - static_cast<double>(i);
        const double turn = pi * band * away;
        const double sinc = std::fabs(turn) < 1e-9 ? 1.0 : std::sin(turn) / turn;
        sum += samples[static_cast<size_t>(i)] * band * windowAt(away) * sinc;
    }
    return sum;
}

/// With `ratio` times the samples.
void resample(Sound &sound, double ratio) {
    for (Samples &samples : sound.channels) {
        Samples made(static_cast<size_t>(static_cast<double>(samples.size()) * ratio));
        for (size_t i = 0; i < made.size(); ++i)
            made[i] = sampleAt(samples, static_cast<double>(i) / ratio, std::min(1.0, ratio));
        samples = std::move(made);
    }
}

/// A click ahead of all else, so loud against the peak.
void addDirectSound(Sound &sound, double decibels) {
    constexpr size_t ahead = 480;
    const double level = peakOf(sound) * factor(decibels);
    for (Samples &samples : sound.channels) {
        samples.insert(samples.begin(), ahead, 0.0);
        samples[0] = level;
    }
}

/// Silence ahead of all else, as of a recording that was started before the tone.
void addLead(Sound &sound, double seconds) {
    for (Samples &samples : sound.channels)
        samples.insert(samples.begin(), static_cast<size_t>(seconds * sound.rate), 0.0);
}

/// White noise whose effective value lies so far from the peak.
void addNoise(Sound &sound, double decibels) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal(0.0, peakOf(sound) * factor(decibels));
    for (Samples &samples : sound.channels) {
        for (double &sample : samples)
            sample += normal(random);
    }
}

void clip(Sound &sound, double decibels) {
    const double limit = peakOf(sound) * factor(decibels);
    for (Samples &samples : sound.channels) {
        for (double &sample : samples)
            sample = std::clamp(sample, -limit, limit);
    }
}

/// Silence of 10 ms, so many times in all the length.
void addGaps(Sound &sound, double count) {
    for (Samples &samples : sound.channels) {
        for (int gap = 1; gap <= static_cast<int>(count); ++gap) {
            const double start = static_cast<double>(samples.size()) * gap / (count + 1.0);
            std::fill_n(&samples[static_cast<size_t>(start)],
                        static_cast<size_t>(0.01 * sound.rate), 0.0);
        }
    }
}

const std::map<std::string, std::function<void(Sound &, double)>> damages = {
    {"direct", addDirectSound},
    {"lead", addLead},
    {"noise", addNoise},
    {"drift", [](Sound &sound, double ppm) { resample(sound, 1.0 + ppm * 1e-6); }},
    {"rate",
     [](Sound &sound, double hz) {
         resample(sound, hz / sound.rate);
         sound.rate = hz;
     }},
    {"clip", clip},
    {"gaps", addGaps},
    {"channel",
     [](Sound &sound, double number) {
         sound.channels = {sound.channels.at(static_cast<size_t>(number) - 1)};
     }},
    {"seconds",
     [](Sound &sound, double seconds) {
         for (Samples &samples : sound.channels)
             samples.resize(static_cast<size_t>(seconds * sound.rate));
     }},
};

Samples spectrumOf(const Samples &samples, size_t start, int32_t bits) {
    tonvale::SampleBlock points = tonvale::allocatePoints(bits);
    tonvale::ComplexTransform transform;
    if (!points || !transform.prepare(bits))
        throw std::bad_alloc();
    const size_t size = size_t{1} << bits;
    std::fill_n(points.get(), 2 * size, 0.0);
    for (size_t i = 0; i < samples.size(); ++i)
        points[2 * ((i + size - start) % size)] = samples[i];
    transform.forward(points.get());
    return {points.get(), points.get() + 2 * size};
}

/// Prints the error of the first channel against the energy of the known one, dB in the octaves
/// from 63 Hz to 8 kHz, as cells of a table. Both are put to the time where they differ least.
void printErrors(const Sound &known, const Sound &measured) {
    const Samples &wanted = known.channels[0], &got = measured.channels[0];
    const auto bits = static_cast<int32_t>(std::bit_width(2 * std::max(wanted.size(), got.size())));
    const Samples a = spectrumOf(wanted, placeOfPeak(wanted), bits);
    const Samples b = spectrumOf(got, placeOfPeak(got), bits);
    const size_t half = a.size() / 4;
    const double binHz = known.rate / static_cast<double>(2 * half);

    struct Sums {
        double error = 0.0, energy = 0.0;
    };
    const auto sumsOf = [&](double delay, double low, double high) {
        Sums sums;
        const auto first = static_cast<size_t>(low / binHz);
        const auto last = std::min(static_cast<size_t>(high / binHz), half);
        for (size_t k = first; k < last; ++k) {
            const double turn = pi * static_cast<double>(k) * delay / static_cast<double>(half);
            const Complex wished(a[2 * k], a[2 * k + 1]);
            const Complex found(b[2 * k], b[2 * k + 1]);
            sums.error += std::norm(found * std::polar(1.0, turn) - wished);
            sums.energy += std::norm(wished);
        }
        return sums;
    };
    double delay = 0.0, step = 1.0;
    while (step > 2e-7) {
        step /= 2.0;
        for (const double other : {delay - step, delay + step}) {
            if (sumsOf(other, 500.0, 8000.0).error < sumsOf(delay, 500.0, 8000.0).error)
                delay = other;
        }
    }
    for (int octave = 0; octave < 8; ++octave) {
        const double middle = std::ldexp(62.5, octave);
        const Sums sums = sumsOf(delay, middle / std::numbers::sqrt2, middle * std::numbers::sqrt2);
        std::printf(" %.0f |", 10.0 * std::log10(sums.error / sums.energy));
    }
    std::printf("\n");
}

void run(const std::vector<std::string> &words) {
    if (words.size() == 3 && words[0] == "errors") {
        printErrors(readSound(words[1]), readSound(words[2]));
        return;
    }
    if (words.size() < 2)
        throw std::runtime_error("IN OUT [WORD=NUMBER...], or errors KNOWN MEASURED");
    Sound sound = readSound(words[0]);
    for (size_t i = 2; i < words.size(); ++i) {
        const size_t sign = std::min(words[i].find('='), words[i].size());
        const auto damage = damages.find(words[i].substr(0, sign));
        if (damage == damages.end() || sign == words[i].size())
            throw std::runtime_error("'" + words[i] + "' isn't known");
        damage->second(sound, std::stod(words[i].substr(sign + 1)));
    }
    writeSound(words[1], sound);
}

} // namespace

int main(int argc, char **argv) {
    try {
        run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "measuring_bench: %s\n", error.what());
        return 1;
    }
}
