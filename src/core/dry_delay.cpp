#include "core/dry_delay.h"

#include "convolution/sample_streams.h"

#include <algorithm>

namespace tonvale {

void DryDelay::capture(const double *const *inputs, int32_t frames, int32_t channels) {
    for (int32_t c = channels; c < captured; ++c)
        dryDelay[c].clear();
    captured = channels;
    dryScratch.resize(frames, false);
    for (int32_t c = 0; c < channels; ++c)
        appendSamples(dryDelay[c], inputs[c], frames);
}

void DryDelay::settle(int32_t delay, int32_t count, int32_t channels) {
    const int64_t wanted = int64_t{delay} + count;
    for (int32_t c = 0; c < channels; ++c) {
        const int64_t tooOld = dryDelay[c].samplesAvailable() - wanted;
        if (tooOld > 0)
            dryDelay[c].advanceSamples(static_cast<int32_t>(tooOld));
    }
}

const double *DryDelay::fetch(int32_t channel, int32_t delay, int32_t &count) {
    BlockQueue &queue = dryDelay[channel];
    const int32_t due = std::clamp(queue.samplesAvailable() - delay, 0, count);
    count = due;
    int32_t inOnePiece = 0;
    if (const void *piece = queue.getPiece(0, inOnePiece); inOnePiece >= sampleBytes(due))
        return static_cast<const double *>(piece);
    count = std::min(due, dryScratch.getSize());
    queue.advanceSamples(due - count);
    queue.getToBuffer(0, dryScratch.get(), sampleBytes(count));
    return dryScratch.get();
}

void DryDelay::clear() {
    for (BlockQueue &queue : dryDelay)
        queue.clear();
}

} // namespace tonvale
