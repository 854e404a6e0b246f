#include "convolution/chunk_input.h"

#include <algorithm>

namespace tonvale {

bool ChunkInput::prepare(int32_t chunkFrames, int32_t frameWidth) {
    frames = chunkFrames;
    width = frameWidth;
    reset(0);
    return samples.allocate(int64_t{frames} * width);
}

void ChunkInput::take(const double *input, int32_t count) {
    double *place = samples.get() + int64_t{phase} * width;
    if (input) {
        if (!audible)
            std::fill(samples.get(), place, 0.0);
        std::copy_n(input, int64_t{count} * width, place);
        audible = true;
    } else if (audible) {
        std::fill_n(place, int64_t{count} * width, 0.0);
    }
    phase += count;
}

void ChunkInput::copyPadded(double *points) const {
    const int64_t size = int64_t{frames} * width;
    std::copy_n(samples.get(), size, points);
    std::fill_n(points + size, size, 0.0);
}

void ChunkInput::next() {
    reset(0);
}

void ChunkInput::reset(int32_t gone) {
    phase = gone;
    audible = false;
}

} // namespace tonvale
