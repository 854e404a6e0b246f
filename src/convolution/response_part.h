#pragma once

#include "convolution/bin_order.h"
#include "convolution/containers/impulse_buffer.h"

namespace tonvale {

/// What of an impulse a convolver takes.
struct ResponseSource {
    const ImpulseBuffer &impulse;
    int32_t offset;   ///< its first sample
    int32_t limit;    ///< samples at most; 0 or less: no limit
    int32_t distinct; ///< channels that differ: 1 where all are equal

    /// The samples that channel `channel` has.
    int32_t length(int32_t channel) const;
    int32_t longest() const;
    /// Samples up to the last one that is above 1e-15 in any channel.
    int32_t audibleLength() const;
    const double *samples(int32_t channel) const { return impulse.getChannel(channel) + offset; }
};

/// The part of a response that one stage plays: cut into pieces of `chunk` samples, each of which
/// is kept as half spectra of 2 * chunk points in single precision. Loaded once, then read by every
/// channel pair.
class ResponsePart {
  public:
    /// Samples of the response from `first` on, `length` of them, transformed in pairs of channels
    /// or, with `isAlone`, each channel in a transform of half the size. `spare` pieces of zeros
    /// stand behind. Answers false where memory is out.
    bool load(const ResponseSource &source, int32_t first, int32_t length, int32_t chunk,
              bool isAlone, int32_t spare);

    const SpectrumLayout &layout() const { return order.layout(); }
    /// Points of a transform.
    int32_t points() const { return transformPoints; }
    /// Pieces, without and with those of zeros.
    int32_t pieces() const { return pieceCount; }
    int32_t storedPieces() const { return stored; }
    /// [group][stored piece][8]: of a pair, its left (0) or right (1) channel's; of a channel
    /// alone, which is `left`, its two halves.
    const float *spectra(int32_t left, int32_t right, int32_t which) const;
    /// The same of the first turnsAPass pieces, [piece][group][8]; there are that many only of a
    /// part loaded with as many spare ones.
    const float *newestSpectra(int32_t left, int32_t right, int32_t which) const;

  private:
    int32_t plane(int32_t left, int32_t right, int32_t which) const;
    void loadPiece(const ResponseSource &source, int32_t first, int32_t count, int32_t chunk,
                   int32_t channel, int32_t piece, double *points);

    BinOrder order;
    AlignedBlock<float> planes;
    AlignedBlock<float> newestPlanes;
    int64_t planeSize = 0;
    int64_t newestSize = 0;
    int32_t distinct = 0;
    int32_t transformPoints = 0;
    int32_t pieceCount = 0;
    int32_t stored = 0;
    bool alone = false;
};

} // namespace tonvale
