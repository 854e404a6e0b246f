#pragma once

#include "measure/sample_block.h"

#include <cstdint>

namespace tonvale {

/// The discrete Fourier transform of n = 2^bits complex points in double precision, in place, on
/// interleaved doubles: bin k is the sum of x[m] exp(-2 pi i k m / n), and the inverse has the sign
/// of the exponent turned. No direction scales: forward and then inverse gives n times the input.
///
/// It is the recursive radix-2 decimation in time of Cooley and Tukey. It has no limit of size but
/// memory, for which it takes 2.5 n points of its own. Not thread-safe.
class ComplexTransform {
  public:
    static constexpr int32_t maxBits = 30;

    /// Makes the tables for 2^`bits` points, `bits` from 0 to maxBits. Answers false when memory is
    /// out; nothing may be transformed then.
    bool prepare(int32_t bits);

    void forward(double *points);
    void inverse(double *points);

  private:
    template <bool isInverse>
    void transform(int32_t bits, double *data, int64_t stride, double *room) const;
    template <bool isInverse>
    void transformLeaf(double *data) const;

    int32_t topBits = 0;
    int32_t leafBits = 0;
    /// Point k is exp(-2 pi i k / n), for k below n / 2.
    SampleBlock twiddles;
    /// The same for the smallest transforms, close together, the stages of each one behind the
    /// other: the m / 2 points of the stage that makes m points start at point m / 2.
    SampleBlock leafTwiddles;
    SampleBlock scratch;
};

} // namespace tonvale
