#include "lv2/response_probe.h"

#include "core/channel_limit.h"
#include "core/parameters.h"
#include "lv2/chain_chunk.h"
#include "workbench/services/channel_marks.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>

namespace tonvale::lv2 {

namespace {

constexpr int32_t probeBlock = 4096;

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

int32_t countChannels(std::vector<std::string> chain, double rate) {
    std::ranges::copy(workbench::channelMarks(rate), std::back_inserter(chain));
    const auto probe = probeOf(chain, rate);
    if (!probe)
        return 1;
    std::vector<std::vector<double>> heard(maxChannels);
    playClick(*probe, maxChannels, probe->responseLength(),
              [&](int32_t c, const double *samples, int32_t frames) {
                  auto &channel = heard[static_cast<size_t>(c)];
                  channel.insert(channel.end(), samples, samples + frames);
              });
    return workbench::channelPeriod(heard, 3);
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
