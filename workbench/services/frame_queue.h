#pragma once

#include <cstddef>
#include <vector>

namespace tonvale::workbench {

/// Interleaved frames that wait to be read, oldest first.
class FrameQueue {
  public:
    void clear(int channelCount);
    size_t frames() const;
    /// Makes room for `count` more frames and answers it; keep() tells how many became valid.
    double *grow(size_t count);
    void keep(size_t count);
    /// Moves up to `count` frames to `out`, or drops them where `out` is null; answers how many.
    size_t take(double *out, size_t count);

  private:
    std::vector<double> samples;
    size_t channels = 1;
    size_t start = 0; ///< samples taken already
    size_t end = 0;   ///< samples that are valid
};

} // namespace tonvale::workbench
