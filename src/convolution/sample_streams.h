#pragma once

#include "convolution/containers/block_queue.h"
#include "convolution/containers/fifo_buffer.h"

namespace tonvale {

/// Blocks up to this length find their memory in what streams have reserved ahead.
constexpr int32_t usualBlock = 4096;

/// Appends `samples` samples, zeros without `source`. Answers whether all of them went in.
bool appendSamples(FifoBuffer &stream, const double *source, int32_t samples);

/// The same, in pieces that fit an ordinary block, so that a queue that carried long blocks once
/// can go on with the blocks it has.
bool appendSamples(BlockQueue &queue, const double *source, int32_t samples);

/// Gets memory now for a stream of at most `unread` unread samples to which up to `block` samples
/// are added at a time: before it moves to the front, a stream spans no more than twice what is
/// unread.
void reserveSamples(FifoBuffer &stream, int32_t unread, int32_t block);

/// Empties `queue` into `stream`.
void moveSamples(BlockQueue &queue, FifoBuffer &stream);

} // namespace tonvale
