#include "workbench/cli/sound/aligned_stream.h"

#include "platform/flush_to_zero.h"

#include <algorithm>

namespace tonvale::workbench {

AlignedStream::AlignedStream(Effect &streamEffect, int channels, int feeds, int blockFrames)
    : effect(streamEffect)
    , block(blockFrames) {
    const auto frames = static_cast<size_t>(blockFrames);
    inputSamples.resize(static_cast<size_t>(feeds) * frames);
    outputSamples.resize(static_cast<size_t>(channels) * frames);
    for (size_t c = 0; c < static_cast<size_t>(feeds); ++c)
        feedPlanes.push_back(inputSamples.data() + c * frames);
    for (size_t c = 0; c < static_cast<size_t>(channels); ++c) {
        inputPlanes.push_back(feedPlanes[c % static_cast<size_t>(feeds)]);
        outputPlanes.push_back(outputSamples.data() + c * frames);
    }
}

void AlignedStream::run(int64_t frames, const Feed &feed, const Drain &drain) {
    const FlushToZeroScope noDenormals;
    int64_t delivered = 0;
    int64_t latency = 0;
    int64_t surplus = 0; // output samples ahead that are there for the latency alone
    while (delivered < frames) {
        effect.answerIdleRequest();
        const int64_t reported = effect.latency();
        surplus += std::max<int64_t>(0, reported - latency);
        latency = std::max(latency, reported);

        feed(feedPlanes.data(), block);
        effect.process(inputPlanes.data(), outputPlanes.data(), block);

        const int dropped = static_cast<int>(std::min<int64_t>(block, surplus));
        surplus -= dropped;
        const int kept = static_cast<int>(std::min<int64_t>(block - dropped, frames - delivered));
        if (kept > 0)
            drain(outputPlanes.data(), kept, dropped);
        delivered += kept;
    }
}

} // namespace tonvale::workbench
