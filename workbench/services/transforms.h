#pragma once

namespace tonvale::workbench {

/// Makes the tables that the transforms read, which takes some milliseconds. Until it has run no
/// transform is there; hostFunction runs it when one is first asked for, so that no audio call ever
/// does.
void prepareTransforms();

// The transforms run in place on any thread, without a lock, and never allocate. For a size that is
// not offered, for a null pointer, and as long as prepareTransforms has not run, nothing happens.

/// ZUB_fft_8: n complex points as interleaved doubles, at any address of doubles; n is a power of
/// two from 2 to 131072. No direction scales; bins are in bit-reversed order.
void fft(double *points, int n, int inverse);

/// ZUB_fft_real_8: n real values, a power of two from 32 to 32768, become their spectrum, unscaled:
/// element 0 is bin 0, element 1 is bin n / 2, and the other bins are pairs, each where
/// fftPermutation(n / 2) tells. There is no inverse: nothing happens when it is asked for.
void fftReal(double *values, int n, int inverse);

/// ZUB_fft_permute_tab: entry k is the pair that holds bin k, for 16 to 32768 pairs; null for any
/// other count. Lives as long as the process.
const int *fftPermutation(int pairs);

/// The instructions that transforms may use; `best` is what this processor has.
enum class Instructions { baseline, best };
/// For tests and measurements: both give the same bits. Not while a transform runs.
void restrictTransforms(Instructions allowed);

} // namespace tonvale::workbench
