#include "chain/stage_formulas.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <random>
#include <sstream>

namespace tonvale::test {

namespace {

double truncatedFrames(const Signal &signal, double milliseconds) {
    return std::trunc(milliseconds * signal.rate * 0.001);
}

void grow(Signal &signal, size_t length) {
    for (auto &channel : signal.channels)
        channel.resize(std::max(length, channel.size()));
}

void edit(Signal &s, const Settings &v) {
    for (auto &c : s.channels) {
        const auto size = static_cast<double>(c.size());
        c.erase(c.begin(), c.begin() + std::lround(std::clamp(truncatedFrames(s, v[1]), 0., size)));
        c.resize(std::min(c.size(), static_cast<size_t>(std::max(truncatedFrames(s, v[2]), 0.0))));
        for (double &x : c)
            x *= v[0];
        c.insert(c.begin(), static_cast<size_t>(std::max(truncatedFrames(s, v[4]), 0.0)), 0.0);
    }
    const double width = std::abs(v[5] - 1) > 0.001 ? v[5] : 1;
    const double pan = std::abs(v[6]) >= 0.001 ? v[6] : 0;
    if (pan != 0 && s.channels.size() == 1)
        s.channels.push_back(s.channels[0]);
    for (size_t c = 1; c < s.channels.size(); c += 2) {
        for (size_t i = 0; i < s.length(); ++i) {
            double &a = s.channels[c - 1][i];
            double &b = s.channels[c][i];
            const double mid = (a + b) / 2, side = (a - b) / 2 * width;
            a = (mid + side) * std::min(1.0, 1 - pan);
            b = (mid - side) * std::min(1.0, 1 + pan);
        }
    }
}

// A bilinear section in transposed direct form II; k is 1 for a low-pass and -1 for a high-pass.
void section(Signal &signal, double corner, double k) {
    const double w = std::tan(std::numbers::pi * corner / 2);
    const double norm = 1 + w + w * w;
    const double b0 = (k > 0 ? w * w : 1.0) / norm;
    const double a1 = 2 * (w * w - 1) / norm, a2 = (1 - w + w * w) / norm;
    for (auto &channel : signal.channels) {
        double s1 = 0, s2 = 0;
        for (double &x : channel) {
            const double y = b0 * x + s1;
            s1 = 2 * k * b0 * x - a1 * y + s2;
            s2 = b0 * x - a2 * y;
            x = y;
        }
    }
}

void filter(Signal &signal, const Settings &v) {
    if (v[1] > 0)
        section(signal, std::min(v[1], 0.9999999), -1);
    if (v[0] < 1)
        section(signal, std::max(v[0], 1e-6), 1);
}

void normalize(Signal &signal, const Settings &v) {
    double largest = 0;
    for (const auto &channel : signal.channels)
        largest = std::max(largest, peakOf(channel));
    for (auto &channel : signal.channels)
        for (double &x : channel)
            x *= v[0] / largest;
}

void reverse(Signal &signal, const Settings &v) {
    for (size_t c = 0; c < signal.channels.size(); ++c) {
        const double chosen = std::floor(v[2] + 0.5);
        if (chosen != 0 && chosen != static_cast<double>(c + 1))
            continue;
        const Samples backwards(signal.channels[c].rbegin(), signal.channels[c].rend());
        for (size_t i = 0; i < backwards.size(); ++i)
            signal.channels[c][i] = v[1] * signal.channels[c][i] + v[0] * backwards[i];
    }
}

Samples convolution(const Samples &a, const Samples &b) {
    Samples out(a.size() + b.size());
    for (size_t i = 0; i + 1 < out.size(); ++i)
        out[i] = convolvedSample(a, b, i);
    return out;
}

void channelTool(Signal &signal, const Settings &v) {
    const auto source = static_cast<size_t>(v[0]), destination = static_cast<size_t>(v[1]);
    const auto action = static_cast<size_t>(v[2]), count = static_cast<size_t>(v[3]);
    auto &channels = signal.channels;
    const size_t highest = action == 0 ? std::max(source, destination) : destination;
    const size_t present = std::max(channels.size(), highest + count);
    const bool convolves = action == 4 && source < present;

    // More than there are: those are silent, and what they get is dropped.
    channels.resize(16, Samples(signal.length()));
    const Channels before = channels;
    for (size_t from = source, to = destination; from < source + count; ++from, ++to) {
        if (action == 0)
            channels[from] = channels[to];
        if (action < 2)
            channels[to] = before[from];
        for (size_t k = 0; k < signal.length() && (action == 2 || action == 3); ++k)
            channels[to][k] += action == 2 ? before[from][k] : -before[from][k];
        if (action == 4)
            channels[to] =
                convolves ? convolution(before[to], before[from]) : Samples(signal.length());
    }
    channels.resize(present);
    grow(signal, convolves ? 2 * before[0].size() : 0);
    for (size_t c = 0; static_cast<double>(channels.size()) < v[4]; ++c)
        channels.push_back(Samples(channels[c]));
    if (v[4] > 0)
        channels.resize(static_cast<size_t>(v[4]));
}

/// The first frame that a generator writes, and the one behind the last.
std::pair<double, double> span(const Signal &signal, const Settings &v) {
    const double first = truncatedFrames(signal, v[0]);
    return {std::max(first, 0.0), std::trunc(v[1] * signal.rate * 0.001 + first)};
}

void echo(Signal &signal, const Settings &v) {
    const auto [from, last] = span(signal, v);
    if (from >= last)
        return;
    grow(signal, static_cast<size_t>(last));
    const auto level = [](double factor) {
        return factor < std::exp2(-25) ? -150.0 : 20 * std::log10(factor);
    };
    const double bend = v[6] > 0.5 ? 4 * v[6] - 1 : 2 * v[6];
    const auto behind = [&](double place, std::mt19937 &sequence) {
        const double jitter = std::pow(static_cast<double>(sequence()) / 4294967295.0, bend);
        return place +
               (jitter * v[5] * signal.rate * .001 + std::max(3., v[2] * signal.rate * .001));
    };
    std::mt19937 sequence(61453);
    for (auto &channel : signal.channels) {
        // All clicks up to the end; those up to the furthest frame of a train that never gets
        // there.
        Samples places;
        std::mt19937 ahead = sequence;
        double place = from;
        for (; place < last && places.size() < 150000; place = behind(place, ahead))
            places.push_back(place);
        const auto frame = [](double at) { return static_cast<size_t>(std::max(at, 0.0)); };
        if (place < last)
            places.erase(std::ranges::max_element(places, {}, frame) + 1, places.end());
        sequence.discard(places.size());
        for (const double at : places) {
            const double part = (at - from) / (last - from);
            const double decibels = level(v[3]) * (1 - part) + level(v[4]) * part;
            channel[frame(at)] += std::pow(10, decibels / 20);
        }
    }
}

// One line of the reverberator: what goes in comes out `size` steps later.
struct Line {
    Samples ring;
    size_t steps = 0;
    double store = 0;

    Line(int length, double rate)
        : ring(std::max<size_t>(1, static_cast<size_t>(length * (rate / 44100)))) {}
    double &slot() { return ring[steps++ % ring.size()]; }
};

void reverb(Signal &signal, const Settings &v) {
    const auto [from, last] = span(signal, v);
    if (from >= last)
        return;
    if (signal.channels.size() == 1 && std::abs(v[5]) > 0.1)
        signal.channels.push_back(signal.channels[0]);
    grow(signal, static_cast<size_t>(last));

    std::vector<Line> combs[2], allPasses[2];
    for (int side = 0; side < 2; ++side) {
        for (int length : {1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617, 1685, 1748})
            combs[side].emplace_back(length + 23 * side, signal.rate);
        for (int length : {556, 441, 341, 225, 180, 153})
            allPasses[side].emplace_back(length + 23 * side, signal.rate);
    }
    const double damp = v[4] / 100 * 0.4;
    double input = v[2];
    for (size_t frame = static_cast<size_t>(from); frame < static_cast<size_t>(last); ++frame) {
        double sides[2] = {0, 0};
        for (int side = 0; side < 2; ++side) {
            for (Line &line : combs[side]) {
                double &slot = line.slot();
                sides[side] += slot;
                line.store = (1 - damp) * slot + line.store * damp;
                slot = line.store * (v[3] / 100) + input * 0.015;
            }
            for (Line &line : allPasses[side]) {
                double &slot = line.slot();
                const double out = slot - sides[side];
                slot = sides[side] + slot * 0.5;
                sides[side] = out;
            }
        }
        input = 0;
        const double w = std::clamp(v[5], -1.0, 1.0) / 2 + (v[5] >= 0 ? 0.5 : -0.5);
        const double own = w >= 0 ? w : 1 + w;
        signal.channels[0][frame] += sides[0] * own + sides[1] * (1 - own);
        if (signal.channels.size() > 1)
            signal.channels[1][frame] += sides[1] * own + sides[0] * (1 - own);
    }
}

const StageFormula formulas[] = {
    {"BASICEDIT",
     {1, 0, 20000, 1, 0, 1, 0},
     16,
     {{0, 2}, {-2, 10}, {-1, 60}, {0.9951, 1.0049}, {-2, 10}, {-2, 2}, {-1, 1}},
     edit,
     1e-12},
    {"FILT", {1, 0}, 8, {{-0.1, 1.2}, {-0.2, 1.1}}, filter, 1e-9},
    {"NORM", {1}, 4, {{0, 2}}, normalize, 1e-14},
    {"REVERSE", {1, 0, 0}, 4, {{0, 2}, {0, 2}, {0, 5}}, reverse, 1e-14},
    {"CHANTOOL", {0, 1, 0, 1, 0}, 4, {{0, 6}, {0, 6}, {0, 6}, {1, 5}, {-5, 9}}, channelTool, 1e-6},
    {"ECHOGEN",
     {0, 100, 10, 0.5, 0.25, 0, 0.5},
     16,
     {{-3, 9}, {0, 30}, {0, 6}, {0, 1}, {0, 1}, {-4, 4}, {0, 1}},
     echo,
     1e-12},
    {"VERBGEN",
     {0, 1000, 1, 50, 50, 1},
     16,
     {{-3, 9}, {-9, 90}, {0, 2}, {30, 98}, {0, 100}, {-1.2, 1.2}},
     reverb,
     1e-15},
};

} // namespace

std::span<const StageFormula> stageFormulas() {
    return formulas;
}

std::string toText(const Settings &settings) {
    std::ostringstream text;
    text.precision(17);
    std::ranges::copy(settings, std::ostream_iterator<double>(text, " "));
    return text.str();
}

void expectAgreement(const StageFormula &formula, const Settings &settings, const Signal &input) {
    SCOPED_TRACE(toText(settings) + "at " + std::to_string(input.rate));
    Signal expected = input;
    formula.run(expected, settings);
    const Signal actual = runStage(formula.key, toText(settings), input);
    ASSERT_EQ(actual.channels.size(), expected.channels.size());
    for (size_t c = 0; c < expected.channels.size(); ++c) {
        const double room = formula.tolerance * std::max(1.0, peakOf(expected.channels[c]));
        ASSERT_EQ(actual.channels[c].size(), expected.channels[c].size()) << "channel " << c;
        for (size_t i = 0; i < expected.channels[c].size(); ++i)
            ASSERT_NEAR(actual.channels[c][i], expected.channels[c][i], room)
                << "channel " << c << " frame " << i;
    }
}

void load(ImpulseBuffer &impulse, const Signal &signal) {
    impulse.sampleRate = signal.rate;
    impulse.setNumChannels(static_cast<int32_t>(signal.channels.size()), false);
    impulse.setLength(static_cast<int32_t>(signal.length()));
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c)
        std::ranges::copy(signal.channels[static_cast<size_t>(c)], impulse.getChannel(c));
}

Signal read(const ImpulseBuffer &impulse) {
    Signal signal{impulse.sampleRate, {}};
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c) {
        const double *samples = impulse.getChannel(c);
        signal.channels.emplace_back(samples, samples + impulse.getChannelLength(c));
    }
    return signal;
}

std::unique_ptr<StatusStage> makeStage(const char *key, const std::string &values) {
    auto *stage = dynamic_cast<StatusStage *>(createImpulseGenerator(key, nullptr));
    if (stage)
        stage->loadText(values.c_str());
    return std::unique_ptr<StatusStage>(stage);
}

Signal runStage(const char *key, const std::string &values, const Signal &input,
                int allowedRequests) {
    ImpulseBuffer impulse;
    load(impulse, input);
    const auto stage = makeStage(key, values);
    {
        const AllocationLimit limit(allowedRequests);
        stage->process(impulse);
    }
    return read(impulse);
}

double peakOf(const Samples &samples) {
    double peak = 0;
    for (const double x : samples)
        peak = std::max(peak, std::abs(x));
    return peak;
}

std::string textOf(ImpulseGenerator &stage, size_t size) {
    std::vector<char> text(size + 1, '#');
    stage.saveText(text.data(), static_cast<int32_t>(size));
    EXPECT_EQ(text[size], '#') << "nothing is written behind the room";
    return text.data();
}

double burstError(const Samples &samples, double rate, double gain) {
    Samples expected = burst(rate, gain);
    expected.resize(expected.size() - 10);
    return errorLevel(samples, expected);
}

Samples burst(double rate, double gain) {
    Samples samples(static_cast<size_t>(rate / 5.0));
    for (size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / rate;
        samples[i] = gain * (1.0 + std::sin(2.0 * std::numbers::pi * 500.0 * t)) *
                     std::exp(-0.5 * std::pow((t - 0.1) / 0.02, 2.0));
    }
    return samples;
}

} // namespace tonvale::test
