#include "convolution/containers/frame_queue.h"

#include <algorithm>

namespace tonvale {

bool FrameQueue::setShape(int32_t newQueues, int32_t frameWidth) {
    if (newQueues == queues && frameWidth == width)
        return true;
    return relocate(newQueues, frameWidth, int64_t{capacity} * width / frameWidth);
}

void FrameQueue::reserve(int32_t frames) {
    // Twice, so that frames move to the front no more often than they pass through.
    if (2 * int64_t{frames} > capacity)
        relocate(queues, width, 2 * int64_t{frames});
}

bool FrameQueue::append(int32_t frames) {
    const int64_t needed = int64_t{unread} + frames;
    if (begin + needed > capacity) {
        if (2 * needed > capacity) {
            if (!relocate(queues, width, 2 * needed))
                return false;
        } else {
            for (int32_t q = 0; q < queues; ++q)
                std::copy_n(frame(q, 0), int64_t{unread} * width, frame(q, -begin));
            begin = 0;
        }
    }
    unread += frames;
    return true;
}

void FrameQueue::consume(int32_t frames) {
    frames = std::clamp(frames, 0, unread);
    begin += frames;
    unread -= frames;
    if (unread == 0)
        begin = 0;
}

void FrameQueue::clear() {
    begin = 0;
    unread = 0;
}

bool FrameQueue::relocate(int32_t newQueues, int32_t newWidth, int64_t newCapacity) {
    if (newCapacity > INT32_MAX)
        return false;
    AlignedBlock<double> moved;
    if (!moved.allocate(newCapacity * newQueues * newWidth))
        return false;
    if (newWidth != width)
        clear();
    for (int32_t q = 0; q < std::min(queues, newQueues); ++q)
        std::copy_n(frame(q, 0), int64_t{unread} * width, moved.get() + newCapacity * q * width);
    samples.swap(moved);
    queues = newQueues;
    width = newWidth;
    capacity = static_cast<int32_t>(newCapacity);
    begin = 0;
    return true;
}

} // namespace tonvale
