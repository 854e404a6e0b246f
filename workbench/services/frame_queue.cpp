#include "workbench/services/frame_queue.h"

#include <algorithm>

namespace tonvale::workbench {

void FrameQueue::clear(int channelCount) {
    channels = static_cast<size_t>(std::max(channelCount, 1));
    start = end = 0;
}

size_t FrameQueue::frames() const {
    return (end - start) / channels;
}

double *FrameQueue::grow(size_t count) {
    if (start > 0) {
        std::move(samples.begin() + static_cast<std::ptrdiff_t>(start),
                  samples.begin() + static_cast<std::ptrdiff_t>(end), samples.begin());
        end -= start;
        start = 0;
    }
    if (samples.size() < end + count * channels)
        samples.resize(end + count * channels);
    return samples.data() + end;
}

void FrameQueue::keep(size_t count) {
    end += count * channels;
}

size_t FrameQueue::take(double *out, size_t count) {
    const size_t taken = std::min(count, frames());
    if (out)
        std::copy_n(samples.data() + start, taken * channels, out);
    start += taken * channels;
    return taken;
}

} // namespace tonvale::workbench
