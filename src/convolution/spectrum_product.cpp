#include "convolution/spectrum_product.h"

namespace tonvale {

namespace {

// (a + jb)(c + jd) = (ac - bd) + j(ad + bc)
constexpr double realPart(const double *signal, const float *impulse) {
    return signal[0] * impulse[0] - signal[1] * impulse[1];
}

constexpr double imaginaryPart(const double *signal, const float *impulse) {
    return signal[0] * impulse[1] + signal[1] * impulse[0];
}

} // namespace

void storeSpectrumProduct(double *product, const double *signal, const float *impulse,
                          int32_t points) {
    for (int32_t i = 0; i < 2 * points; i += 4) {
        product[i] = realPart(signal + i, impulse + i);
        product[i + 1] = imaginaryPart(signal + i, impulse + i);
        product[i + 2] = realPart(signal + i + 2, impulse + i + 2);
        product[i + 3] = imaginaryPart(signal + i + 2, impulse + i + 2);
    }
}

void addSpectrumProduct(double *product, const double *signal, const float *impulse,
                        int32_t points) {
    for (int32_t i = 0; i < 2 * points; i += 4) {
        product[i] += realPart(signal + i, impulse + i);
        product[i + 1] += imaginaryPart(signal + i, impulse + i);
        product[i + 2] += realPart(signal + i + 2, impulse + i + 2);
        product[i + 3] += imaginaryPart(signal + i + 2, impulse + i + 2);
    }
}

} // namespace tonvale
