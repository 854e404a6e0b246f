#include "workbench/cli/sound/impulse_response.h"

#include "workbench/cli/problem.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/services/channel_marks.h"

#include <algorithm>
#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr int captureBlock = 1024;

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

void markChannels(Effect &effect) {
    for (const std::string &mark : channelMarks(effect.sampleRate())) {
        if (!effect.appendStage(mark))
            throw Problem("the plug-in doesn't tell how many channels its response has");
    }
    effect.finishChainChange();
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
    return channelPeriod(heard, 3);
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
