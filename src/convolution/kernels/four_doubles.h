#pragma once

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace tonvale {

// Four doubles that go through the same operation side by side. Sources that use them are built
// once for every processor of the kind and once for those with AVX2; each lane is rounded alike in
// both, so that their results are equal bit by bit. All of it is internal to the source that
// includes it, so that no linker takes one build's function for the other's: such a source includes
// nothing that could be shared beyond plain declarations.
namespace {

#if defined(__AVX2__)

using Four = double __attribute__((vector_size(32)));
using FourMasks = long long __attribute__((vector_size(32)));

// From and to any place, aligned or not: compilers make a plain move of such a copy.
[[gnu::always_inline]] inline Four load(const double *from) {
    Four v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}
[[gnu::always_inline]] inline void store(double *to, Four v) {
    __builtin_memcpy(to, &v, sizeof v);
}
[[gnu::always_inline]] inline Four loadFloats(const float *from) {
    return _mm256_cvtps_pd(_mm_loadu_ps(from));
}
[[gnu::always_inline]] inline void storeFloats(float *to, Four v) {
    _mm_storeu_ps(to, _mm256_cvtpd_ps(v));
}
[[gnu::always_inline]] inline Four splat(double v) {
    return Four{v, v, v, v};
}

/// (a1, a0, a3, a2)
[[gnu::always_inline]] inline Four swapNeighbours(Four a) {
    return __builtin_shufflevector(a, a, 1, 0, 3, 2);
}
/// (a0, a0, a2, a2)
[[gnu::always_inline]] inline Four doubleEven(Four a) {
    return __builtin_shufflevector(a, a, 0, 0, 2, 2);
}
/// (a1, a1, a3, a3)
[[gnu::always_inline]] inline Four doubleOdd(Four a) {
    return __builtin_shufflevector(a, a, 1, 1, 3, 3);
}
/// (a0, b0, a2, b2)
[[gnu::always_inline]] inline Four zipEven(Four a, Four b) {
    return __builtin_shufflevector(a, b, 0, 4, 2, 6);
}
/// (a1, b1, a3, b3)
[[gnu::always_inline]] inline Four zipOdd(Four a, Four b) {
    return __builtin_shufflevector(a, b, 1, 5, 3, 7);
}
/// (a0, a1, b0, b1)
[[gnu::always_inline]] inline Four lowHalves(Four a, Four b) {
    return __builtin_shufflevector(a, b, 0, 1, 4, 5);
}
/// (a2, a3, b2, b3)
[[gnu::always_inline]] inline Four highHalves(Four a, Four b) {
    return __builtin_shufflevector(a, b, 2, 3, 6, 7);
}
/// (a2, a3, a0, a1)
[[gnu::always_inline]] inline Four swapHalves(Four a) {
    return __builtin_shufflevector(a, a, 2, 3, 0, 1);
}
[[gnu::always_inline]] inline Four negateEven(Four a) {
    constexpr long long sign = 1ll << 63;
    return (Four)((FourMasks)a ^ FourMasks{sign, 0, sign, 0});
}
[[gnu::always_inline]] inline Four negateOdd(Four a) {
    constexpr long long sign = 1ll << 63;
    return (Four)((FourMasks)a ^ FourMasks{0, sign, 0, sign});
}
/// (a0 - b0, a1 + b1, a2 - b2, a3 + b3)
[[gnu::always_inline]] inline Four subtractAdd(Four a, Four b) {
    return __builtin_shufflevector(a - b, a + b, 0, 5, 2, 7);
}
/// The lanes of magnitudes from `least` to `most`, 0.0 in place of others and of NaNs.
[[gnu::always_inline]] inline Four keepBetween(Four a, double least, double most) {
    const FourMasks noSign = FourMasks{} + ~(1ll << 63);
    const Four magnitude = (Four)((FourMasks)a & noSign);
    const FourMasks kept = (magnitude >= splat(least)) & (magnitude <= splat(most));
    return (Four)((FourMasks)a & kept);
}

#else

// Without AVX registers hold two.

using Two = double __attribute__((vector_size(16)));
using TwoMasks = long long __attribute__((vector_size(16)));

struct Four {
    Two low;
    Two high;
};

[[gnu::always_inline]] inline Four operator+(Four a, Four b) {
    return {a.low + b.low, a.high + b.high};
}
[[gnu::always_inline]] inline Four operator-(Four a, Four b) {
    return {a.low - b.low, a.high - b.high};
}
[[gnu::always_inline]] inline Four operator*(Four a, Four b) {
    return {a.low * b.low, a.high * b.high};
}
// From and to any place, aligned or not: compilers make plain moves of such copies.
[[gnu::always_inline]] inline Four load(const double *from) {
    Four v;
    __builtin_memcpy(&v.low, from, sizeof v.low);
    __builtin_memcpy(&v.high, from + 2, sizeof v.high);
    return v;
}
[[gnu::always_inline]] inline void store(double *to, Four v) {
    __builtin_memcpy(to, &v.low, sizeof v.low);
    __builtin_memcpy(to + 2, &v.high, sizeof v.high);
}
[[gnu::always_inline]] inline Four loadFloats(const float *from) {
    return {Two{from[0], from[1]}, Two{from[2], from[3]}};
}
[[gnu::always_inline]] inline void storeFloats(float *to, Four v) {
    for (int i = 0; i < 2; ++i) {
        to[i] = static_cast<float>(v.low[i]);
        to[2 + i] = static_cast<float>(v.high[i]);
    }
}
[[gnu::always_inline]] inline Four splat(double v) {
    return {Two{v, v}, Two{v, v}};
}
[[gnu::always_inline]] inline Four swapNeighbours(Four a) {
    return {__builtin_shufflevector(a.low, a.low, 1, 0),
            __builtin_shufflevector(a.high, a.high, 1, 0)};
}
[[gnu::always_inline]] inline Four doubleEven(Four a) {
    return {__builtin_shufflevector(a.low, a.low, 0, 0),
            __builtin_shufflevector(a.high, a.high, 0, 0)};
}
[[gnu::always_inline]] inline Four doubleOdd(Four a) {
    return {__builtin_shufflevector(a.low, a.low, 1, 1),
            __builtin_shufflevector(a.high, a.high, 1, 1)};
}
[[gnu::always_inline]] inline Four zipEven(Four a, Four b) {
    return {__builtin_shufflevector(a.low, b.low, 0, 2),
            __builtin_shufflevector(a.high, b.high, 0, 2)};
}
[[gnu::always_inline]] inline Four zipOdd(Four a, Four b) {
    return {__builtin_shufflevector(a.low, b.low, 1, 3),
            __builtin_shufflevector(a.high, b.high, 1, 3)};
}
[[gnu::always_inline]] inline Four lowHalves(Four a, Four b) {
    return {a.low, b.low};
}
[[gnu::always_inline]] inline Four highHalves(Four a, Four b) {
    return {a.high, b.high};
}
[[gnu::always_inline]] inline Four swapHalves(Four a) {
    return {a.high, a.low};
}
[[gnu::always_inline]] inline Two withSigns(Two a, long long first, long long second) {
    return (Two)((TwoMasks)a ^ TwoMasks{first, second});
}
[[gnu::always_inline]] inline Four negateEven(Four a) {
    constexpr long long sign = 1ll << 63;
    return {withSigns(a.low, sign, 0), withSigns(a.high, sign, 0)};
}
[[gnu::always_inline]] inline Four negateOdd(Four a) {
    constexpr long long sign = 1ll << 63;
    return {withSigns(a.low, 0, sign), withSigns(a.high, 0, sign)};
}
[[gnu::always_inline]] inline Four subtractAdd(Four a, Four b) {
    return a + negateEven(b);
}
[[gnu::always_inline]] inline Two keepBetween(Two a, double least, double most) {
    const TwoMasks noSign = TwoMasks{} + ~(1ll << 63);
    const Two magnitude = (Two)((TwoMasks)a & noSign);
    const TwoMasks kept = (magnitude >= Two{least, least}) & (magnitude <= Two{most, most});
    return (Two)((TwoMasks)a & kept);
}
[[gnu::always_inline]] inline Four keepBetween(Four a, double least, double most) {
    return {keepBetween(a.low, least, most), keepBetween(a.high, least, most)};
}

#endif

} // namespace

} // namespace tonvale
