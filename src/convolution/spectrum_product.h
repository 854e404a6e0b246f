#pragma once

#include <cstdint>

namespace tonvale {

// The two loops in which a long convolution spends its time: a spectrum of the input in double
// precision times one of the impulse in single precision, point by point, each as pairs of real and
// imaginary part. `points` is even.

/// product[k] = signal[k] * impulse[k]
void storeSpectrumProduct(double *product, const double *signal, const float *impulse,
                          int32_t points);

/// product[k] += signal[k] * impulse[k]
void addSpectrumProduct(double *product, const double *signal, const float *impulse,
                        int32_t points);

} // namespace tonvale
