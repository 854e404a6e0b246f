#pragma once

#include "convolution/containers/heap_buffer.h"

namespace tonvale {

/// Left and right of each channel pair as the engines hear them: at width 1 apart, at 0 mono, at -1
/// exchanged. A change is a linear crossfade over one block. An odd last channel stays as it is.
class WidthMix {
  public:
    /// Replaces pointers in `fed`, which come as the inputs, null for silence; writes no input.
    /// Without the memory for a mix, `fed` stays as it came.
    void apply(const double **fed, int32_t frames, int32_t channels, double width);
    /// The next block has no crossfade.
    void settle(double width) { lastWidth = width; }

  private:
    double lastWidth = 1.0; ///< at the end of the last block
    SampleBuffer widthScratch;
};

} // namespace tonvale
