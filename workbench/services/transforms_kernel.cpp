#include "workbench/services/transforms_kernel.h"

#include "convolution/kernels/four_doubles.h"

// Radix-4 decimation in frequency (Gentleman and Sande 1966; Singleton 1969), depth first: once a
// quarter fits the nearest cache it is finished before the next one begins, so a transform of any
// size goes through the outer caches once for each of its few outer passes. Nothing is reordered:
// bins stay where the passes leave them.

namespace tonvale::workbench {

namespace {

/// Sizes up to this run pass by pass.
constexpr int nearestCache = 512;

// A vector holds two complex points.

[[gnu::always_inline]] inline Four timesMinusI(Four z) {
    return negateOdd(swapNeighbours(z));
}

[[gnu::always_inline]] inline Four timesI(Four z) {
    return negateEven(swapNeighbours(z));
}

[[gnu::always_inline]] inline Four times(Four z, Four w) {
    return subtractAdd(z * doubleEven(w), swapNeighbours(z) * doubleOdd(w));
}

[[gnu::always_inline]] inline Four timesConjugate(Four z, Four w) {
    return times(z, negateOdd(w));
}

template <bool isInverse>
[[gnu::always_inline]] inline Four quarterTurn(Four z) {
    return isInverse ? timesI(z) : timesMinusI(z);
}

constexpr int logarithm(int n) {
    return __builtin_ctz(static_cast<unsigned>(n));
}

/// The factors of two neighbouring butterflies.
struct Factors {
    Four w1, w2, w3;
};

template <bool squaring>
[[gnu::always_inline]] inline Factors nextFactors(const double *&from) {
    const Four w1 = load(from);
    if (squaring) {
        from += 4;
        const Four w2 = times(w1, w1);
        return {w1, w2, times(w2, w1)};
    }
    const Factors factors{w1, load(from + 4), load(from + 8)};
    from += 12;
    return factors;
}

/// The outermost butterflies of n points; they leave bins 4k, 4k + 2, 4k + 1, 4k + 3 in the
/// quarters, in this order.
template <bool squaring>
void forwardPass(double *points, int n, const double *factors) {
    const int quarter = n / 2; // in doubles
    double *a = points, *b = a + quarter, *c = b + quarter, *d = c + quarter;
    for (int i = 0; i < quarter; i += 4) {
        const auto [w1, w2, w3] = nextFactors<squaring>(factors);
        const Four p = load(a + i), q = load(b + i), r = load(c + i), s = load(d + i);
        const Four even = p + r, odd = p - r, evenToo = q + s, oddToo = timesMinusI(q - s);
        store(a + i, even + evenToo);
        store(b + i, times(even - evenToo, w2));
        store(c + i, times(odd + oddToo, w1));
        store(d + i, times(odd - oddToo, w3));
    }
}

template <bool squaring>
void inversePass(double *points, int n, const double *factors) {
    const int quarter = n / 2;
    double *a = points, *b = a + quarter, *c = b + quarter, *d = c + quarter;
    for (int i = 0; i < quarter; i += 4) {
        const auto [w1, w2, w3] = nextFactors<squaring>(factors);
        const Four p = load(a + i), q = timesConjugate(load(b + i), w2),
                   r = timesConjugate(load(c + i), w1), s = timesConjugate(load(d + i), w3);
        const Four even = p + q, evenToo = p - q, odd = r + s, oddToo = timesI(r - s);
        store(a + i, even + odd);
        store(b + i, evenToo + oddToo);
        store(c + i, even - odd);
        store(d + i, evenToo - oddToo);
    }
}

/// Two transforms of `count` points each lie side by side, one in either half of a vector.
template <int count>
[[gnu::always_inline]] inline void loadSideBySide(const double *points, Four (&z)[count]) {
    for (int i = 0; i < count; i += 2) {
        const Four first = load(points + 2 * i), second = load(points + 2 * (count + i));
        z[i] = lowHalves(first, second);
        z[i + 1] = highHalves(first, second);
    }
}

template <int count>
[[gnu::always_inline]] inline void storeSideBySide(double *points, const Four (&z)[count]) {
    for (int i = 0; i < count; i += 2) {
        store(points + 2 * i, lowHalves(z[i], z[i + 1]));
        store(points + 2 * (count + i), highHalves(z[i], z[i + 1]));
    }
}

[[gnu::always_inline]] inline void forwardFour(Four &a, Four &b, Four &c, Four &d) {
    const Four even = a + c, odd = a - c, evenToo = b + d, oddToo = timesMinusI(b - d);
    a = even + evenToo;
    b = even - evenToo;
    c = odd + oddToo;
    d = odd - oddToo;
}

[[gnu::always_inline]] inline void inverseFour(Four &a, Four &b, Four &c, Four &d) {
    const Four even = a + b, evenToo = a - b, odd = c + d, oddToo = timesI(c - d);
    a = even + odd;
    b = evenToo + oddToo;
    c = even - odd;
    d = evenToo - oddToo;
}

/// Turns the second half of eight by 0 to 3 eighths of a circle.
template <bool isInverse>
[[gnu::always_inline]] inline void turnByEighths(Four (&z)[8]) {
    const Four diagonal = splat(0.70710678118654752440);
    z[5] = (quarterTurn<isInverse>(z[5]) + z[5]) * diagonal;
    z[6] = quarterTurn<isInverse>(z[6]);
    z[7] = (quarterTurn<isInverse>(z[7]) - z[7]) * diagonal;
}

void forwardLeavesOfFour(double *points, int n) {
    for (const double *end = points + 2 * n; points < end; points += 16) {
        Four z[4];
        loadSideBySide(points, z);
        forwardFour(z[0], z[1], z[2], z[3]);
        storeSideBySide(points, z);
    }
}

void inverseLeavesOfFour(double *points, int n) {
    for (const double *end = points + 2 * n; points < end; points += 16) {
        Four z[4];
        loadSideBySide(points, z);
        inverseFour(z[0], z[1], z[2], z[3]);
        storeSideBySide(points, z);
    }
}

void forwardLeavesOfEight(double *points, int n) {
    for (const double *end = points + 2 * n; points < end; points += 32) {
        Four z[8];
        loadSideBySide(points, z);
        for (int i = 0; i < 4; ++i) {
            const Four difference = z[i] - z[i + 4];
            z[i] = z[i] + z[i + 4];
            z[i + 4] = difference;
        }
        turnByEighths<false>(z);
        forwardFour(z[0], z[1], z[2], z[3]);
        forwardFour(z[4], z[5], z[6], z[7]);
        storeSideBySide(points, z);
    }
}

void inverseLeavesOfEight(double *points, int n) {
    for (const double *end = points + 2 * n; points < end; points += 32) {
        Four z[8];
        loadSideBySide(points, z);
        inverseFour(z[0], z[1], z[2], z[3]);
        inverseFour(z[4], z[5], z[6], z[7]);
        turnByEighths<true>(z);
        for (int i = 0; i < 4; ++i) {
            const Four difference = z[i] - z[i + 4];
            z[i] = z[i] + z[i + 4];
            z[i + 4] = difference;
        }
        storeSideBySide(points, z);
    }
}

void forward(double *points, int n, const TransformFactors &factors) {
    if (n > nearestCache) {
        const double *own = factors.bySize[logarithm(n)];
        n >= TransformFactors::squaringSize ? forwardPass<true>(points, n, own)
                                            : forwardPass<false>(points, n, own);
        for (int quarter = 0; quarter < 4; ++quarter)
            forward(points + quarter * (n / 2), n / 4, factors);
        return;
    }
    int size = n;
    for (; size > 8; size /= 4) {
        for (int at = 0; at < n; at += size)
            forwardPass<false>(points + 2 * at, size, factors.bySize[logarithm(size)]);
    }
    size == 8 ? forwardLeavesOfEight(points, n) : forwardLeavesOfFour(points, n);
}

void inverse(double *points, int n, const TransformFactors &factors) {
    if (n > nearestCache) {
        for (int quarter = 0; quarter < 4; ++quarter)
            inverse(points + quarter * (n / 2), n / 4, factors);
        const double *own = factors.bySize[logarithm(n)];
        n >= TransformFactors::squaringSize ? inversePass<true>(points, n, own)
                                            : inversePass<false>(points, n, own);
        return;
    }
    const bool odd = logarithm(n) % 2 != 0;
    odd ? inverseLeavesOfEight(points, n) : inverseLeavesOfFour(points, n);
    for (int size = odd ? 32 : 16; size <= n; size *= 4) {
        for (int at = 0; at < n; at += size)
            inversePass<false>(points + 2 * at, size, factors.bySize[logarithm(size)]);
    }
}

} // namespace

#if defined(__AVX2__)
const TransformKernel avx2Transform{forward, inverse};
#else
const TransformKernel baselineTransform{forward, inverse};
#endif

} // namespace tonvale::workbench
