#pragma once

#include "workbench/cli/sound/sound_format.h"

#include <cstdint>
#include <vector>

namespace tonvale::workbench {

/// Turns samples into the numbers of a file, frame by frame: int16_t for 16 bits, int32_t with the
/// sample in its upper 24 for 24, float and double for 32 and 64. Whole numbers are rounded to the
/// nearest and held at full scale; a NaN is 0 there.
///
/// 16 bits are dithered: noise of a triangular density over ±1 step, of its own for each channel,
/// makes the rounding error's mean and power independent of the signal (Lipshitz, Wannamaker and
/// Vanderkooy 1992). It starts from a fixed seed, so that equal sounds make equal files.
///
/// It also keeps what a user must hear of: the largest sample, and whether one was no number that
/// the file can hold.
class SampleCoder {
  public:
    SampleCoder(const SoundFormat &format, int channels);

    /// The numbers of `frames` frames whose samples lie at `offset`, `offset` + `spacing` and so on
    /// of each plane. Valid until the next call.
    const void *code(const double *const *planes, int frames, int offset, int spacing);
    size_t frameBytes() const { return static_cast<size_t>(channelCount) * numberBytes; }

    /// The largest magnitude so far, of the finite samples.
    double peak() const { return largest; }
    bool sawNonFinite() const { return nonFinite; }

  private:
    SoundFormat format;
    int channelCount;
    size_t numberBytes;
    std::vector<char> coded;
    std::vector<uint64_t> noise; ///< the state of each channel's dither
    double largest = 0.0;
    bool nonFinite = false;

    void measure(const double *samples, int frames, int spacing);
    template <class Number, class Convert>
    const void *convertAll(const double *const *planes, int frames, int offset, int spacing,
                           Convert convert);
};

} // namespace tonvale::workbench
