#include "chain/stage_models.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <numbers>

namespace tonvale::test {

namespace {

double truncatedFrames(const Signal &signal, double milliseconds) {
    return std::trunc(milliseconds * signal.rate * 0.001);
}

void grow(Signal &signal, size_t length) {
    for (auto &channel : signal.channels)
        channel.resize(std::max(length, channel.size()));
}

// What the resampler below makes of a channel that is asked for in blocks of 1024 frames and left
// when all of its input was taken.
std::vector<double> repeatFrames(const std::vector<double> &in, double ratio) {
    double length = std::max(1.0, std::floor(static_cast<double>(in.size()) * ratio + 0.5));
    for (double k = 1024; k < length; k += 1024) {
        if (std::floor((k - 1) / ratio) + 1 >= static_cast<double>(in.size()))
            length = k;
    }
    std::vector<double> out(static_cast<size_t>(length));
    for (size_t k = 0; k < out.size(); ++k) {
        const size_t source = static_cast<size_t>(static_cast<double>(k) / ratio);
        out[k] = source < in.size() ? in[source] : 0.0;
    }
    return out;
}

void edit(Signal &s, const Settings &v) {
    const double ratio = std::max(v[3], 0.001) * s.rate / s.rate;
    for (auto &c : s.channels) {
        const auto size = static_cast<double>(c.size());
        c.erase(c.begin(), c.begin() + std::lround(std::clamp(truncatedFrames(s, v[1]), 0., size)));
        c.resize(std::min(c.size(), static_cast<size_t>(std::max(truncatedFrames(s, v[2]), 0.0))));
        if (std::abs(v[3] - 1) > 0.005 && !c.empty())
            c = repeatFrames(c, ratio);
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
    for (const auto &channel : signal.channels) {
        for (double x : channel)
            largest = std::max(largest, std::abs(x));
    }
    for (auto &channel : signal.channels) {
        for (double &x : channel)
            x *= largest > 1e-11 ? v[0] / largest : 1.0;
    }
}

void reverse(Signal &signal, const Settings &v) {
    for (size_t c = 0; c < signal.channels.size(); ++c) {
        const double chosen = std::floor(v[2] + 0.5);
        if (chosen != 0 && chosen != static_cast<double>(c + 1))
            continue;
        const std::vector<double> backwards(signal.channels[c].rbegin(), signal.channels[c].rend());
        for (size_t i = 0; i < backwards.size(); ++i)
            signal.channels[c][i] = v[1] * signal.channels[c][i] + v[0] * backwards[i];
    }
}

std::vector<double> convolved(const std::vector<double> &a, const std::vector<double> &b) {
    std::vector<double> out(a.size() + b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        for (size_t j = 0; j < b.size(); ++j)
            out[i + j] += a[i] * b[j];
    }
    return out;
}

void channelTool(Signal &signal, const Settings &v) {
    const int source = static_cast<int>(v[0]), destination = static_cast<int>(v[1]);
    const int action = static_cast<int>(v[2]), count = static_cast<int>(v[3]);
    auto &channels = signal.channels;
    const int needed = (action == 0 ? std::max(source, destination) : destination) + count;
    const std::vector<double> silent(signal.length());
    while (channels.size() < static_cast<size_t>(std::min(needed, 128)))
        channels.push_back(silent);

    const auto before = channels;
    const int present = static_cast<int>(channels.size());
    const auto was = [&](int c) { return c < present ? before[static_cast<size_t>(c)] : silent; };
    for (int i = 0; i < count; ++i) {
        const auto held = was(source + i);
        std::vector<double> dropped = silent;
        const auto now = [&](int c) -> auto & {
            return c < present ? channels[static_cast<size_t>(c)] : dropped;
        };
        auto &to = now(destination + i);
        if (action == 0)
            now(source + i) = to;
        if (action < 2)
            to = held;
        for (size_t k = 0; k < to.size() && (action == 2 || action == 3); ++k)
            to[k] += action == 2 ? held[k] : -held[k];
        if (action == 4)
            to = source < present ? convolved(was(destination + i), held) : silent;
    }
    grow(signal, action == 4 && source < present ? 2 * silent.size() : 0);
    if (const auto total = static_cast<size_t>(v[4]); total > 0) {
        for (size_t c = 0; channels.size() < total; ++c)
            channels.push_back(std::vector<double>(channels[c]));
        channels.resize(total);
    }
}

void echo(Signal &signal, const Settings &v) {
    const double first = truncatedFrames(signal, v[0]);
    const double last = std::trunc(v[1] * signal.rate * 0.001 + first);
    const double from = std::max(first, 0.0);
    if (from >= last)
        return;
    grow(signal, static_cast<size_t>(last));
    const auto level = [](double factor) {
        return factor < std::exp2(-25) ? -150.0 : 20 * std::log10(factor);
    };
    const double bend = v[6] > 0.5 ? 4 * v[6] - 1 : 2 * v[6];
    std::mt19937 sequence(61453);
    for (auto &channel : signal.channels) {
        for (double place = from; place < last;) {
            const double part = (place - from) / (last - from);
            const double decibels = level(v[3]) * (1 - part) + level(v[4]) * part;
            channel[static_cast<size_t>(place)] += std::pow(10, decibels / 20);
            const double jitter = std::pow(static_cast<double>(sequence()) / 4294967295.0, bend);
            place += std::max(3.0, v[2] * signal.rate / 1000) + jitter * v[5] * signal.rate / 1000;
        }
    }
}

// One line of the reverberator: what goes in comes out `size` steps later.
struct Line {
    std::vector<double> ring;
    size_t steps = 0;
    double store = 0;

    Line(int length, double rate)
        : ring(std::max<size_t>(1, static_cast<size_t>(length * (rate / 44100)))) {}
    double &slot() { return ring[steps++ % ring.size()]; }
};

void reverb(Signal &signal, const Settings &v) {
    const double first = truncatedFrames(signal, v[0]);
    const double last = std::trunc(v[1] * signal.rate * 0.001 + first);
    const double from = std::max(first, 0.0);
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

Settings drawEdit(Random &r) {
    return {between(r, 0, 2),   between(r, -2, 10), between(r, -1, 60), between(r, 0.2, 3),
            between(r, -2, 10), between(r, -2, 2),  between(r, -1, 1)};
}

Settings drawFilter(Random &r) {
    return {between(r, 0.01, 1.2), between(r, -0.2, 0.9)};
}

Settings drawPeak(Random &r) {
    return {between(r, 0, 2)};
}

Settings drawReverse(Random &r) {
    return {between(r, 0, 2), between(r, 0, 2), between(r, 0, 5)};
}

Settings drawChannelTool(Random &r) {
    const auto upTo = [&](double limit) { return std::floor(between(r, 0, limit)); };
    return {upTo(6), upTo(6), upTo(6), 1 + upTo(4), std::max(0.0, upTo(14) - 5)};
}

Settings drawEcho(Random &r) {
    return {between(r, -3, 9), between(r, 0, 30), between(r, 0, 6), between(r, 0, 1),
            between(r, 0, 1),  between(r, 0, 4),  between(r, 0, 1)};
}

Settings drawReverb(Random &r) {
    return {between(r, -3, 9),  between(r, 0, 90),  between(r, 0, 2),
            between(r, 30, 98), between(r, 0, 100), between(r, -1.2, 1)};
}

class RepeatingResampler final : public ResamplerHandle {
  public:
    void destroy(int) override {
        --StageHost::liveResamplers;
        delete this;
    }
    void SetRates(double in, double out) override {
        ratio = out / in;
        StageHost::lastRates[0] = in;
        StageHost::lastRates[1] = out;
    }
    void Reset() override {
        taken.clear();
        made = 0;
    }
    int Prepare(int outFrames, int channels, double **place) override {
        const size_t wanted = outFrames < 1 ? 0 : sourceOf(made + outFrames - 1) + 1;
        const size_t have = taken.size() / static_cast<size_t>(channels);
        const size_t count = wanted > have ? wanted - have : 0;
        taken.resize((have + count) * static_cast<size_t>(channels));
        *place = taken.data() + have * static_cast<size_t>(channels);
        return static_cast<int>(count);
    }
    int Out(double *out, int, int outFrames, int channels) override {
        for (int i = 0; i < outFrames; ++i, ++made) {
            for (size_t c = 0; c < static_cast<size_t>(channels); ++c)
                *out++ = taken[sourceOf(made) * static_cast<size_t>(channels) + c];
        }
        return outFrames;
    }
    intptr_t Extended(int, intptr_t, intptr_t, intptr_t) override { return 0; }

  private:
    size_t sourceOf(int64_t frame) const {
        return static_cast<size_t>(static_cast<double>(frame) / ratio);
    }

    double ratio = 1;
    std::vector<double> taken;
    int64_t made = 0;
};

ResamplerHandle *createResampler() {
    ++StageHost::liveResamplers;
    return new RepeatingResampler;
}

void transform(std::complex<double> *points, int n, double sign) {
    if (n == 1)
        return;
    std::vector<std::complex<double>> halves[2];
    for (int i = 0; i < n; ++i)
        halves[i % 2].push_back(points[i]);
    for (auto &half : halves)
        transform(half.data(), n / 2, sign);
    for (int k = 0; k < n / 2; ++k) {
        const auto index = static_cast<size_t>(k);
        const auto turned = halves[1][index] * std::polar(1.0, sign * 2 * std::numbers::pi * k / n);
        points[k] = halves[0][index] + turned;
        points[k + n / 2] = halves[0][index] - turned;
    }
}

void hostTransform(double *points, int n, int inverse) {
    transform(reinterpret_cast<std::complex<double> *>(points), n, inverse ? 1 : -1);
}

const StageModel models[] = {
    {"BASICEDIT", {1, 0, 20000, 1, 0, 1, 0}, false, 16, drawEdit, edit, 1e-12},
    {"FILT", {1, 0}, false, 8, drawFilter, filter, 1e-9},
    {"NORM", {1}, false, 4, drawPeak, normalize, 1e-14},
    {"REVERSE", {1, 0, 0}, false, 4, drawReverse, reverse, 1e-14},
    {"CHANTOOL", {0, 1, 0, 1, 0}, true, 4, drawChannelTool, channelTool, 1e-6},
    {"ECHOGEN", {0, 100, 10, 0.5, 0.25, 0, 0.5}, false, 16, drawEcho, echo, 1e-12},
    {"VERBGEN", {0, 1000, 1, 50, 50, 1}, false, 16, drawReverb, reverb, 1e-15},
};

} // namespace

int StageHost::liveResamplers = 0;
double StageHost::lastRates[2];

StageHost::StageHost() {
    hostFunctions.ZUB_fft_8 = hostTransform;
    hostFunctions.Resampler_Create = createResampler;
}

std::span<const StageModel> stageModels() {
    return models;
}

double between(Random &random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

Signal noise(Random &random, int32_t channels, int32_t length, double rate) {
    Signal signal{rate, {}};
    signal.channels.resize(static_cast<size_t>(channels));
    for (auto &channel : signal.channels) {
        channel.resize(static_cast<size_t>(length));
        std::generate(channel.begin(), channel.end(), [&] { return between(random, -1, 1); });
    }
    return signal;
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

std::string toText(const Settings &settings) {
    std::string text;
    for (double value : settings) {
        char digits[32];
        text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
        text += ' ';
    }
    return text;
}

Settings readBack(ImpulseGenerator &stage) {
    char text[4096];
    stage.saveText(text, sizeof text);
    Settings settings;
    char *place = text + std::string(stage.getTypeKey()).size();
    while (*place)
        settings.push_back(std::strtod(place, &place));
    return settings;
}

Signal runStage(const char *key, const std::string &values, const Signal &input) {
    ImpulseBuffer impulse;
    load(impulse, input);
    makeStage(key, values)->process(impulse);
    return read(impulse);
}

} // namespace tonvale::test
