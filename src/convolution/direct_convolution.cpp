#include "convolution/direct_convolution.h"

namespace tonvale {

namespace {

/// `count` samples at once share each load of a tap; their sums are independent, so a vector unit
/// runs them side by side.
template <int32_t count>
void convolveGroup(const float *taps, int32_t tapCount, const double *input, double *out) {
    double sums[count] = {};
    for (int32_t j = 0; j < tapCount; ++j) {
        const double tap = taps[j];
        for (int32_t k = 0; k < count; ++k)
            sums[k] += tap * input[j + k];
    }
    for (int32_t k = 0; k < count; ++k)
        out[k] = sums[k];
}

} // namespace

void convolveDirect(const float *taps, int32_t tapCount, const double *input, double *out,
                    int32_t length) {
    constexpr int32_t group = 8;
    int32_t i = 0;
    for (; i + group <= length; i += group)
        convolveGroup<group>(taps, tapCount, input + i, out + i);
    for (; i < length; ++i)
        convolveGroup<1>(taps, tapCount, input + i, out + i);
}

} // namespace tonvale
