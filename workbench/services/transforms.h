#pragma once

namespace tonvale::workbench {

/// Plans every transform that the host offers, from the wisdom in the user's cache folder or by
/// measuring once, which takes some seconds. Until it has run no transform is there; hostFunction
/// runs it when one is first asked for, so that no audio call ever plans.
void prepareTransforms();

// The transforms run in place on any thread, without a lock, and never plan or allocate. Sizes are
// the powers of two from 32 to 32768. For any other size, for a null pointer, and as long as
// prepareTransforms has not run, nothing happens.

/// ZUB_fft_8: n complex points as interleaved doubles, at any address of doubles. No direction
/// scales; bins are in natural order.
void fft(double *points, int n, int inverse);

/// ZUB_fft_real_8: n real values become their spectrum, unscaled: element 0 is bin 0, element 1 is
/// bin n / 2, and pair k behind them is bin k. There is no inverse: nothing happens when it is
/// asked for.
void fftReal(double *values, int n, int inverse);

/// ZUB_fft_permute_tab: entry k is the pair that holds bin k, for 16 to 32768 pairs; null for any
/// other count. Lives as long as the process.
const int *fftPermutation(int pairs);

} // namespace tonvale::workbench
