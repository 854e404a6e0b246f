#pragma once

#include "convolution/containers/aligned_block.h"

namespace tonvale {

/// The sums that a channel pair will play: a ring of interleaved frames into which every stage adds
/// what it has, ahead of time. Frames are counted from the present: that of the next input.
/// Finished ones are taken off behind it, at once or later. Not thread-safe.
class SumRing {
  public:
    /// Room for `reach` frames from the oldest that isn't taken to the last that is added. Answers
    /// false where memory is out.
    bool prepare(int32_t reach, int32_t frameWidth);

    /// Adds `count` frames from frame `first` on.
    void add(int64_t first, const double *frames, int32_t count);

    /// Frame `first`, and how many of the `count` from there lie in one piece: for sums that are
    /// made sample by sample.
    double *frame(int64_t first, int32_t count, int32_t &inOnePiece) const;

    /// Moves the present on.
    void advance(int32_t count) { present += count; }

    /// Takes the `count` oldest frames; null channels are left out.
    void take(int32_t count, double *left, double *right);

    void clear();

  private:
    AlignedBlock<double> sums;
    int64_t length = 0; ///< frames, a power of two
    int64_t present = 0;
    int64_t taken = 0;
    int32_t width = 2;
};

} // namespace tonvale
