#pragma once

#include "convolution/containers/block_queue.h"
#include "convolution/containers/fifo_buffer.h"

namespace tonvale {

/// Appends `samples` samples, zeros without `source`. Answers whether all of them went in.
bool appendSamples(FifoBuffer &stream, const double *source, int32_t samples);

/// The same, in pieces that fit an ordinary block, so that a queue that carried long blocks once
/// can go on with the blocks it has.
bool appendSamples(BlockQueue &queue, const double *source, int32_t samples);

/// Empties `queue` into `stream`.
void moveSamples(BlockQueue &queue, FifoBuffer &stream);

} // namespace tonvale
