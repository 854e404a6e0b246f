#pragma once

#include "convolution/containers/aligned_block.h"

namespace tonvale {

/// Gathers the input of a stage until a chunk is complete, and knows whether any of it can be
/// heard.
class ChunkInput {
  public:
    /// A chunk of `chunkFrames` frames of `frameWidth` doubles. Answers false where memory is out.
    bool prepare(int32_t chunkFrames, int32_t frameWidth);

    int32_t chunk() const { return frames; }
    /// The frames gathered, up to a whole chunk.
    int32_t gathered() const { return phase; }
    int32_t missing() const { return frames - phase; }
    bool isAudible() const { return audible; }

    /// Takes up to missing() frames; null is silence.
    void take(const double *input, int32_t count);
    /// Puts the chunk and as many frames of silence behind it into `points`.
    void copyPadded(double *points) const;
    /// Begins the next chunk.
    void next();
    /// Begins with `gone` frames of a silent chunk gathered already.
    void reset(int32_t gone);

  private:
    AlignedBlock<double> samples;
    int32_t frames = 0;
    int32_t width = 2;
    int32_t phase = 0;
    bool audible = false; ///< nothing is written until something can be heard
};

} // namespace tonvale
