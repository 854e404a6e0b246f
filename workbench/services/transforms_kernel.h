#pragma once

namespace tonvale::workbench {

/// Factors of the transforms, by the logarithm of their size; made once and read-only then. Of a
/// transform of n points they are w^i, w^2i and w^3i with w = e^(-2 pi i / n), for i below n / 4:
/// for two neighbouring i each, one power behind the other. From `squaringSize` points on only w^i
/// is kept, and the other two are made of it on the way, which costs less than reading them.
struct TransformFactors {
    static constexpr int squaringSize = 8192;
    const double *bySize[32];
};

/// Transforms n complex points, a power of two from 16 on, in place; unscaled. The forward one
/// leaves its bins in bit-reversed order, which the inverse one takes.
struct TransformKernel {
    void (*forward)(double *points, int n, const TransformFactors &factors);
    void (*inverse)(double *points, int n, const TransformFactors &factors);
};

/// One source, built for every processor and for those with AVX2; equal to the last bit.
extern const TransformKernel baselineTransform;
extern const TransformKernel avx2Transform;

} // namespace tonvale::workbench
