#include "lv2/response_probe.h"

#include "core/channel_limit.h"
#include "core/parameters.h"
#include "lv2/chain_chunk.h"
#include "text/number_text.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace tonvale::lv2 {

namespace {

constexpr int32_t probeBlock = 4096;
/// Echoes in each channel, each with spacings of its own.
constexpr double echoFrames = 800;
constexpr double echoSpacing = 20;
constexpr double sameSample = 1e-3;

/// Wet alone, as it is.
void bare(Effect &probe) {
    probe.setParameter(paramWet, 1.0f);
    probe.setParameter(paramDry, 0.0f);
    probe.setParameter(paramPreverb, 0.0f);
    probe.setParameter(paramWidth, 1.0f);
    probe.setParameter(paramPan, 0.5f);
}

/// One of its own, which works in the way that costs least.
std::unique_ptr<Effect> probeOf(const std::vector<std::string> &chain, double rate) {
    auto probe = Effect::make(rate, maxChannels);
    if (!probe)
        return nullptr;
    probe->setParameter(paramZeroLatency, 0.0f);
    probe->setParameter(paramLowLatency, 0.0f);
    bare(*probe);
    setChain(*probe, chain);
    return probe;
}

using Take = std::function<void(int32_t channel, const double *samples, int32_t frames)>;

/// The first `length` samples of what a click in all channels gives.
void playClick(Effect &probe, int32_t channels, int32_t length, const Take &take) {
    probe.setChannels(channels);
    probe.reset();
    std::vector<double> in(probeBlock), out(static_cast<size_t>(channels) * probeBlock);
    std::vector<double *> inputs(static_cast<size_t>(channels), in.data()), outputs;
    for (int32_t c = 0; c < channels; ++c)
        outputs.push_back(out.data() + static_cast<ptrdiff_t>(c) * probeBlock);
    in[0] = 1.0;
    for (int32_t at = -probe.latency(); at < length; at += probeBlock) {
        probe.process(inputs.data(), outputs.data(), probeBlock);
        in[0] = 0.0;
        const int32_t first = std::clamp(-at, 0, probeBlock);
        const int32_t last = std::min(probeBlock, length - at);
        for (int32_t c = 0; c < channels && first < last; ++c)
            take(c, outputs[static_cast<size_t>(c)] + first, last - first);
    }
}

/// Channel c of the output is that of response channel c modulo their number, so it repeats itself
/// with just that period once each response channel sounds in a way of its own.
int32_t countChannels(std::vector<std::string> chain, double rate) {
    const double frame = 1000.0 / rate;
    char marks[128];
    TextWriter writer(marks, sizeof marks);
    writer.add("ECHOGEN 0 ");
    writer.addFixed(echoFrames * frame, 6);
    writer.add(" ");
    writer.addFixed(echoSpacing * frame, 6);
    writer.add(" 1 1 ");
    writer.addFixed(echoSpacing * frame, 6);
    writer.add(" 0.5");
    chain.emplace_back("BASICEDIT 1 0 0 1 0 1 0");
    chain.emplace_back(marks);
    const auto probe = probeOf(chain, rate);
    if (!probe)
        return 1;
    std::vector<std::vector<double>> heard(maxChannels);
    playClick(*probe, maxChannels, probe->responseLength(),
              [&](int32_t c, const double *samples, int32_t frames) {
                  auto &channel = heard[static_cast<size_t>(c)];
                  channel.insert(channel.end(), samples, samples + frames);
              });
    const auto same = [](const std::vector<double> &a, const std::vector<double> &b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                          [](double x, double y) { return std::fabs(x - y) < sameSample; });
    };
    for (size_t period = 3; period < heard.size(); ++period) {
        size_t c = period;
        while (c < heard.size() && same(heard[c], heard[c - period]))
            ++c;
        if (c == heard.size())
            return static_cast<int32_t>(period);
    }
    return maxChannels;
}

double peakOf(Effect &probe, int32_t channels, int32_t length) {
    double peak = 0.0;
    playClick(probe, channels, length, [&](int32_t, const double *samples, int32_t frames) {
        for (int32_t i = 0; i < frames; ++i)
            peak = std::max(peak, std::fabs(samples[i]));
    });
    return peak;
}

} // namespace

ResponseShape probeResponse(Effect &probe, const std::vector<std::string> &chain, double rate) {
    bare(probe);
    ResponseShape shape{.frames = probe.responseLength(), .channels = probe.toldChannels()};
    if (shape.channels < 1)
        shape.channels = countChannels(chain, rate);
    shape.peak = peakOf(probe, shape.channels, shape.frames);
    if (shape.frames > 1)
        return shape;
    // Nothing at all also counts one sample, and lets a click pass; a sample can be halved.
    std::vector<std::string> halved = chain;
    halved.emplace_back("NORM 0.5");
    const auto other = probeOf(halved, rate);
    if (other && peakOf(*other, shape.channels, 1) > 0.75)
        return {};
    return shape;
}

} // namespace tonvale::lv2
