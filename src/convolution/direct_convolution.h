#pragma once

#include <cstdint>

namespace tonvale {

/// out[i] = sum over j of taps[j] * input[i + j], for `length` samples; `input` holds length +
/// tapCount - 1 of them. Each sum runs in the order of j.
void convolveDirect(const float *taps, int32_t tapCount, const double *input, double *out,
                    int32_t length);

} // namespace tonvale
