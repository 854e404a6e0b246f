#pragma once

#include "convolution/containers/aligned_block.h"

namespace tonvale {

/// Queues of frames, side by side and always equally long: frames come and go in all of them at
/// once. A frame is `width` doubles. Not thread-safe.
///
/// Memory is only ever got to hold more than ever before; where it is out, frames are refused in
/// all queues, so that none falls behind the others.
class FrameQueue {
  public:
    /// Makes it `queues` queues of frames of `frameWidth`. Those that stay keep their frames, new
    /// ones get as many of silence; another width begins anew. Answers false, and changes nothing,
    /// where memory is out.
    bool setShape(int32_t queues, int32_t frameWidth);

    /// Gets memory now for `frames` unread frames a queue.
    void reserve(int32_t frames);

    /// Appends `frames` frames, uninitialised, to each queue. Answers false, and changes nothing,
    /// where memory is out.
    bool append(int32_t frames);

    int32_t queueCount() const { return queues; }
    int32_t frameWidth() const { return width; }
    int32_t frameCount() const { return unread; }
    /// Frame `index` of a queue, 0 being the oldest unread one. Valid until the next call that is
    /// not const.
    double *frame(int32_t queue, int32_t index) const {
        return samples.get() + (int64_t{capacity} * queue + begin + index) * width;
    }

    /// Drops up to `frames` frames of each queue.
    void consume(int32_t frames);
    void clear();

  private:
    bool relocate(int32_t newQueues, int32_t newWidth, int64_t newCapacity);

    AlignedBlock<double> samples;
    int32_t queues = 0;
    int32_t width = 1;
    int32_t capacity = 0; ///< frames a queue has room for
    int32_t begin = 0;    ///< of the unread frames
    int32_t unread = 0;
};

} // namespace tonvale
