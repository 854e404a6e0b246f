#pragma once

#include "host/host_objects.h"
#include "measure/sample_block.h"

#include <cstdint>

namespace tonvale {

/// A part of a file, in frames.
struct FrameRange {
    int32_t start = 0;
    int32_t length = 0;
};

/// The part of a source in which some channel has a magnitude above `threshold`, with a margin of
/// 16 frames at each end, as far as the file goes. A file with nothing above it counts as its first
/// 16 frames. The whole file counts when `threshold` is 0 or less, when the source has no channels,
/// and when memory is out. A length that isn't a number is 0, one beyond int32 its end.
FrameRange findAudibleRange(MediaSource &source, double threshold);

/// Appends one block of 2^`bits` points a channel of `source` to `channels`, which is empty, with
/// the frames of `range` as real parts; `range` is no longer than a block. What the source doesn't
/// deliver stays zero. Answers false when the source has no channels or memory is out.
bool readChannels(MediaSource &source, FrameRange range, int32_t bits, ChannelBlocks &channels);

} // namespace tonvale
