#include "workbench/cli/sound/impulse_response.h"

#include "workbench/cli/problem.h"
#include "workbench/cli/sound/sound_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr int captureBlock = 1024;

// Echoes for telling channels apart: enough of them, far enough apart and spread by as much again,
// that no two random patterns agree.
constexpr int probeFrames = 800;
constexpr int probeSpacing = 20;
constexpr double sameSample = 1e-3;

constexpr int emptinessSilence = 100;

constexpr std::pair<int, double> soloSettings[] = {
    {0, 1.0}, // wet, as a factor
    {1, 0.0}, // dry
    {2, 0.0}, // pre-verb
    {4, 1.0}, // width
    {5, 0.5}, // pan, centre
    {7, 0.0}, // low latency mode
    {6, 1.0}, // zero latency mode
};

/// Cuts the response to nothing, then has the echo generator write a train with a random spacing of
/// its own into each channel.
void markChannels(Effect &effect) {
    const double milliseconds = 1000.0 / effect.sampleRate();
    char echoes[128];
    std::snprintf(echoes, sizeof echoes, "ECHOGEN 0 %.6f %.6f 1 1 %.6f 0.5",
                  probeFrames * milliseconds, probeSpacing * milliseconds,
                  probeSpacing * milliseconds);
    if (!effect.appendStage("BASICEDIT 1 0 0 1 0 1 0") || !effect.appendStage(echoes))
        throw Problem("the plug-in doesn't tell how many channels its response has");
    effect.finishChainChange();
}

/// The engines give channel c the response channel c modulo their number, so the output repeats
/// itself from channel to channel with just that period.
int period(const std::vector<std::vector<double>> &channels, int least) {
    const auto same = [&](size_t a, size_t b) {
        return std::equal(channels[a].begin(), channels[a].end(), channels[b].begin(),
                          [](double x, double y) { return std::fabs(x - y) < sameSample; });
    };
    for (auto length = static_cast<size_t>(least); length < channels.size(); ++length) {
        size_t c = length;
        while (c < channels.size() && same(c, c - length))
            ++c;
        if (c == channels.size())
            return static_cast<int>(length);
    }
    return static_cast<int>(channels.size());
}

/// Gives `probe` the chain of `effect`.
void copyChain(Effect &effect, Effect &probe) {
    std::vector<char> state = effect.chunk();
    probe.setChunk(state);
}

} // namespace

int responseChannels(Effect &effect) {
    const int told = effect.toldResponseChannels();
    if (told > 0)
        return told;

    Effect probe(effect.sampleRate());
    copyChain(effect, probe);
    // Cut before it is soloed, which may load the engines anew.
    markChannels(probe);
    soloResponse(probe);
    std::vector<std::vector<double>> heard(channelLimit);
    const auto keep = [&](double **planes, int frames, int offset) {
        for (size_t c = 0; c < heard.size(); ++c)
            heard[c].insert(heard[c].end(), planes[c] + offset, planes[c] + offset + frames);
    };
    captureResponse(probe, channelLimit, probe.tailFrames(), keep);
    return period(heard, 3);
}

bool responseIsEmpty(Effect &effect) {
    if (effect.tailFrames() > 1)
        return false;
    // The same silence twice in front makes nothing twice as long, but not one sample.
    Effect probe(effect.sampleRate());
    copyChain(effect, probe);
    soloResponse(probe);
    char silence[128];
    std::snprintf(silence, sizeof silence, "BASICEDIT 1 0 20000000 1 %.6f 1 0",
                  emptinessSilence * 1000.0 / probe.sampleRate());
    if (!probe.appendStage(silence))
        throw Problem("the plug-in doesn't tell how long its response is");
    probe.finishChainChange();
    const int64_t once = probe.tailFrames();
    probe.appendStage(silence);
    probe.finishChainChange();
    return probe.tailFrames() == 2 * once;
}

void soloResponse(Effect &effect) {
    for (const auto &[parameter, value] : soloSettings)
        effect.setParameter(parameter, value);
}

void captureResponse(Effect &effect, int channels, int64_t frames,
                     const AlignedStream::Drain &drain) {
    effect.setChannels(channels);
    effect.reset();
    bool first = true;
    const auto click = [&](double *const *planes, int count) {
        std::fill_n(planes[0], count, 0.0);
        if (first)
            planes[0][0] = 1.0;
        first = false;
    };
    AlignedStream(effect, channels, 1, captureBlock).run(frames, click, drain);
}

} // namespace tonvale::workbench
