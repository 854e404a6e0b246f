#pragma once

namespace tonvale::workbench {

/// Plans every transform that the host offers, from the wisdom in the user's cache folder or by
/// measuring once. Until it has run no transform is there; hostFunction runs it when one is first
/// asked for, so that no audio call ever plans.
void prepareTransforms();

// The host functions of the same names.
void fft(double *points, int n, int inverse);
void fftReal(double *values, int n, int inverse);
const int *fftPermutation(int pairs);

} // namespace tonvale::workbench
