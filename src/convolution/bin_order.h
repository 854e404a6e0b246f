#pragma once

#include "convolution/containers/aligned_block.h"
#include "convolution/kernels/convolution_kernels.h"

namespace tonvale {

/// In which order the host's transform of one size leaves its bins: any fixed order serves. It is
/// learned from the transform of a click at sample 1, whose bin k is e^(-2 pi i k / n), and laid
/// out as the kernels take it. Read-only once it is prepared; any thread.
class BinOrder {
  public:
    /// Learns the order of transforms of `points` points, a power of two of at least
    /// smallestTransform, for channel pairs, or for channels alone. Answers false where memory is
    /// out, or where what the host transforms isn't a transform.
    bool prepare(int32_t points, bool isAlone);

    const SpectrumLayout &layout() const { return kernelLayout; }

  private:
    bool learn(int32_t points, int32_t *placeOfBin, int32_t *binOfPlace) const;
    void arrange(int32_t points, const int32_t *placeOfBin, const int32_t *binOfPlace);
    void rotate(int32_t points, const int32_t *binOfPlace);

    AlignedBlock<int32_t> places;
    AlignedBlock<double> rotation;
    SpectrumLayout kernelLayout{};
};

} // namespace tonvale
