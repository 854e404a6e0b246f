#pragma once

#include "convolution/sum_ring.h"

namespace tonvale {

/// The beginning of a response, played sample by sample: no latency, and a cost that grows with its
/// length. One of a channel pair; not thread-safe.
class TapLine {
  public:
    /// Plays `count` taps of two channels on frames of width 2, or of `left` on frames of width 1.
    /// Works in pieces of up to `pieceFrames` frames. Answers false where memory is out.
    bool prepare(const float *left, const float *right, int32_t count, int32_t frameWidth,
                 int32_t pieceFrames);

    /// Adds to `sums`, from the present on, what `count` frames of input give. Null is silence, of
    /// any length.
    void play(const double *input, int32_t count, SumRing &sums);

    bool isSilent() const { return stillHeard == 0; }
    void reset();

  private:
    AlignedBlock<double> taps; ///< each four times, or twice for either channel in turn
    AlignedBlock<double> line; ///< the frames before the block, then the block
    int32_t tapCount = 0;
    int32_t width = 2;
    int32_t room = 0;       ///< frames of a piece
    int32_t stillHeard = 0; ///< frames of silence until the line is silent
};

} // namespace tonvale
