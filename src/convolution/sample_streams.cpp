#include "convolution/sample_streams.h"

#include <algorithm>

namespace tonvale {

bool appendSamples(FifoBuffer &stream, const double *source, int32_t samples) {
    if (samples < 1)
        return true;
    double *place = stream.addSamples(source, samples);
    if (place && !source)
        std::fill_n(place, samples, 0.0);
    return place != nullptr;
}

bool appendSamples(BlockQueue &queue, const double *source, int32_t samples) {
    constexpr int32_t pieceSamples = BlockQueue::defaultBlockSize / sizeof(double);
    for (int32_t done = 0; done < samples; done += pieceSamples) {
        const int32_t piece = std::min(samples - done, pieceSamples);
        if (!queue.add(source ? source + done : nullptr, sampleBytes(piece)))
            return false;
    }
    return true;
}

void reserveSamples(FifoBuffer &stream, int32_t unread, int32_t block) {
    const int64_t span = 2 * int64_t{unread} + block;
    stream.reserve(sampleBytes(static_cast<int32_t>(std::min<int64_t>(span, INT32_MAX))));
}

void moveSamples(BlockQueue &queue, FifoBuffer &stream) {
    const int32_t samples = queue.samplesAvailable();
    double *place = samples > 0 ? stream.addSamples(nullptr, samples) : nullptr;
    if (place)
        queue.getToBuffer(0, place, sampleBytes(samples));
    queue.clear();
}

} // namespace tonvale
