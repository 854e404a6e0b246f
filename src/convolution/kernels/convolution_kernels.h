#pragma once

#include <cstdint>

namespace tonvale {

// The loops in which a convolution spends its time. Each is one plain source, built for every
// processor and for those with AVX2; both builds give the same bits.
//
// Samples of a channel pair are interleaved frames, of `width` 2; those of a channel alone have
// width 1. Spectra are kept as half spectra in groups of four bins: four real parts, then four
// imaginary ones. A group's bins of successive spectra lie side by side: [group][spectrum][8].

/// The doubles, or floats, that a group takes.
constexpr int32_t groupSize = 8;

/// How many turns of a long stage one pass over its history serves.
constexpr int32_t turnsAPass = 4;

/// Where the bins of a transformed pair lie, and what takes them apart.
struct SpectrumLayout {
    /// Eight for each group: the places of its four bins k among the transform's points, then those
    /// of bins n - k.
    const int32_t *places;
    /// The first groups lie in runs: bins at p, p + 2, p + 1, p + 3 and their partners at q, q - 2,
    /// q - 1, q - 3.
    int32_t runGroups;
    int32_t groups;
    /// Null for a channel pair. For a channel alone, whose even and odd samples are real and
    /// imaginary part: e^(-i pi k / n) for each group's bins k.
    const double *rotation;
};

/// A stage of few parts: its whole sum of products in one pass.
struct ShortProduct {
    double *history[2];       ///< [group][slot][8]
    const float *response[2]; ///< [group][part][8]
    int32_t slots;
    int32_t parts;
    int32_t newest;           ///< the slot of age 0; the next one is a turn older
    int32_t firstAge, endAge; ///< what is audible
    int32_t firstPart;        ///< what the spectrum of age 0 meets
    bool fresh;               ///< `points` holds the spectrum of age 0, which goes into its slot
};

/// A stage of many parts: `turnsAPass` turns at once.
struct LongProduct {
    double *history[2];       ///< [group][slot][8]: what is older than this group of turns
    const float *response[2]; ///< [group][part][8], with turnsAPass parts of zeros behind
    const float *newest[2];   ///< [part][group][8]: the parts that fresh spectra meet
    double *fresh[2];         ///< [turn][group][8]: spectra of this group of turns
    double *sums[2];          ///< [turn][group][8]: what the history adds to each turn
    int32_t slots;
    int32_t parts; ///< of `response`, zeros included
    int32_t groups;
    int32_t newestSlot; ///< the slot of age 0 as the pass sees it
    int32_t ages;       ///< how many are audible
    int32_t firstFresh; ///< the first turn of the group of which `fresh` holds anything
    bool hasSums;
};

struct SpectrumKernels {
    /// Takes one transformed pair of response channels, or one alone, apart into half spectra,
    /// rounded to single precision, groups `stride` floats apart.
    void (*separateResponse)(const SpectrumLayout &layout, const double *points, float *first,
                             float *second, int32_t stride);
    /// Replaces `points`, the spectrum of the newest chunk, by that of the sum of products.
    void (*multiplyShort)(const SpectrumLayout &layout, const ShortProduct &product,
                          double *points);
    /// The same for turn `turn` of a group of a long stage.
    void (*multiplyFresh)(const SpectrumLayout &layout, const LongProduct &product, int32_t turn,
                          double *points);
    /// Moves the fresh spectra of a finished group of turns into the history and sums up what it
    /// adds to each turn of the next group, for the bin groups `from` to `to` - 1.
    void (*sumHistory)(const LongProduct &product, int32_t from, int32_t to);
};

struct SampleKernels {
    /// Interleaves two channels, of which a null one is silence.
    void (*interleave)(const double *left, const double *right, double *frames, int32_t count);
    /// Drops what may not enter a spectrum: magnitudes below 2^-54, infinities and NaNs.
    void (*dropUnheard)(double *samples, int32_t count);
    /// Whether any magnitude is above 1e-12.
    bool (*isAudible)(const double *samples, int32_t count);
    /// sums[i] += the sum over j of taps[4 j + i % 4] * input[i - width j]. Each tap stands there
    /// four times, or twice for either channel in turn. `input` reaches back over all taps.
    void (*convolve)(const double *taps, int32_t tapCount, int32_t width, const double *input,
                     double *sums, int32_t count);
    void (*add)(double *sums, const double *samples, int32_t count);
    /// Takes frames apart; a null channel is left out.
    void (*separate)(const double *frames, double *left, double *right, int32_t count);
};

struct ConvolutionKernels {
    SpectrumKernels spectrum;
    SampleKernels sample;
};

/// Those for this processor.
const ConvolutionKernels &convolutionKernels();

enum class KernelBuild { baseline, best };
/// For tests and measurements. Not while an engine runs.
void chooseKernelBuild(KernelBuild build);

extern const SpectrumKernels baselineSpectrumKernels;
extern const SpectrumKernels avx2SpectrumKernels;
extern const SampleKernels baselineSampleKernels;
extern const SampleKernels avx2SampleKernels;

} // namespace tonvale
