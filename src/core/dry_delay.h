#pragma once

#include "convolution/containers/block_queue.h"
#include "core/channel_limit.h"

namespace tonvale {

/// The dry signal on its way: it leaves `delay` samples after it came in. What is due follows from
/// the end of a channel's queue, so a channel that joined late is silent until it is in line.
/// Allocates nothing once its queues have their working size. One thread at a time.
class DryDelay {
  public:
    /// Appends `frames` samples of each channel, zeros for a null one. Channels that went since the
    /// last block are emptied: should they come back, they bring no old sound along.
    void capture(const double *const *inputs, int32_t frames, int32_t channels);

    /// Only the last `count` samples of this block are wanted: what was due earlier is dropped.
    void settle(int32_t delay, int32_t count, int32_t channels);

    /// The samples of a channel that are due now, at most the `count` of settle(); `count` answers
    /// how many there are, and they belong to the end of the block. Good until the next call.
    const double *fetch(int32_t channel, int32_t delay, int32_t &count);
    /// What fetch() gave has been played.
    void advance(int32_t channel, int32_t count) { dryDelay[channel].advanceSamples(count); }

    void clear();

  private:
    BlockQueue dryDelay[maxChannels];
    SampleBuffer dryScratch;
    int32_t captured = 0; ///< channels of the last block
};

} // namespace tonvale
