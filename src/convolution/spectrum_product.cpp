#include "convolution/spectrum_product.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// (a + jb)(c + jd) = (ac - bd) + j(ad + bc). The forms below round alike, product by product and
// sum by sum, so that a response sounds the same on every machine.

namespace tonvale {

namespace {

template <bool adds>
void multiplyPlain(double *product, const double *signal, const float *impulse, int32_t points) {
    for (int32_t i = 0; i < 2 * points; i += 2) {
        const double real = signal[i] * impulse[i] - signal[i + 1] * impulse[i + 1];
        const double imaginary = signal[i + 1] * impulse[i] + signal[i] * impulse[i + 1];
        product[i] = adds ? product[i] + real : real;
        product[i + 1] = adds ? product[i + 1] + imaginary : imaginary;
    }
}

using Multiply = void (*)(double *, const double *, const float *, int32_t);

#if defined(__x86_64__)

/// Two points at a time.
template <bool adds>
__attribute__((target("avx2"))) void multiplyAvx2(double *product, const double *signal,
                                                  const float *impulse, int32_t points) {
    for (int32_t i = 0; i < 2 * points; i += 4) {
        const __m256d s = _mm256_loadu_pd(signal + i);
        const __m256d h = _mm256_cvtps_pd(_mm_loadu_ps(impulse + i));
        const __m256d straight = _mm256_mul_pd(s, _mm256_movedup_pd(h));
        const __m256d crossed =
            _mm256_mul_pd(_mm256_permute_pd(s, 0b0101), _mm256_permute_pd(h, 0b1111));
        __m256d result = _mm256_addsub_pd(straight, crossed);
        if (adds)
            result = _mm256_add_pd(_mm256_loadu_pd(product + i), result);
        _mm256_storeu_pd(product + i, result);
    }
}

template <bool adds>
Multiply bestMultiply() {
    return __builtin_cpu_supports("avx2") ? multiplyAvx2<adds> : multiplyPlain<adds>;
}

#else

template <bool adds>
Multiply bestMultiply() {
    return multiplyPlain<adds>;
}

#endif

/// Module-wide, chosen once for this processor.
const Multiply storeProduct = bestMultiply<false>();
const Multiply addProduct = bestMultiply<true>();

} // namespace

void storeSpectrumProduct(double *product, const double *signal, const float *impulse,
                          int32_t points) {
    storeProduct(product, signal, impulse, points);
}

void addSpectrumProduct(double *product, const double *signal, const float *impulse,
                        int32_t points) {
    addProduct(product, signal, impulse, points);
}

} // namespace tonvale
