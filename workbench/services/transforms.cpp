#include "workbench/services/transforms.h"

#include "workbench/services/transforms_kernel.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <mutex>
#include <numbers>
#include <utility>

namespace tonvale::workbench {

namespace {

constexpr int largestSize = 131072;
/// Smaller ones are too short for vectors.
constexpr int smallestKernelSize = 16;

constexpr int smallestPairs = 16;
constexpr int largestPairs = 32768;

bool isPowerOfTwo(int n, int least, int most) {
    return n >= least && n <= most && std::has_single_bit(static_cast<unsigned>(n));
}

/// Point k of the circle, e^(-2 pi i k / n).
std::pair<double, double> circlePoint(int k, int n) {
    const long double angle = -2.0L * std::numbers::pi_v<long double> * k / n;
    return {static_cast<double>(std::cos(angle)), static_cast<double>(std::sin(angle))};
}

const TransformKernel &kernelFor(Instructions allowed) {
#if defined(__x86_64__)
    if (allowed == Instructions::best && __builtin_cpu_supports("avx2"))
        return avx2Transform;
#endif
    static_cast<void>(allowed);
    return baselineTransform;
}

/// How many powers of each factor the table of a size holds.
constexpr int powersFor(int n) {
    return n >= TransformFactors::squaringSize ? 1 : 3;
}

constexpr size_t countFactors() {
    size_t count = 0;
    for (int n = smallestKernelSize; n <= largestSize; n *= 2)
        count += static_cast<size_t>(n / 2 * powersFor(n));
    return count;
}

/// Process-wide: written by prepareTransforms under its lock, read-only once `ready` is set. The
/// tables are part of the image: a transform may be running on any thread to the end of the
/// process, and an image that is unloaded takes them along.
struct Tables {
    alignas(64) double factorsOfAllSizes[countFactors()];
    TransformFactors factors;
    /// The tables for all counts of pairs: that for m of them begins at entry m.
    int permutations[2 * largestPairs];
    std::atomic<bool> ready;
};

Tables tables;

std::atomic<const TransformKernel *> chosenKernel{&kernelFor(Instructions::best)};

/// Answers where the factors of n end.
double *writeFactors(double *factors, int n) {
    for (int i = 0; i < n / 4; i += 2)
        for (int power = 1; power <= powersFor(n); ++power)
            for (int neighbour = 0; neighbour < 2; ++neighbour) {
                const auto [re, im] = circlePoint(power * (i + neighbour), n);
                *factors++ = re;
                *factors++ = im;
            }
    return factors;
}

/// Bins of `points` points in bit-reversed order.
void writePermutation(int *table, int points) {
    int known = 1;
    table[0] = 0;
    for (int half = points / 2; half >= 1; half /= 2, known *= 2)
        std::transform(table, table + known, table + known, [half](int bin) { return bin + half; });
}

/// Below 16 points: radix 2, with the bins where the larger transforms have them.
void transformFew(double *points, int n, bool isInverse) {
    const auto butterflies = [&](int size) {
        for (int at = 0; at < n; at += size)
            for (int i = 0; i < size / 2; ++i) {
                auto [re, im] = circlePoint(i, size);
                double *a = points + 2 * (at + i), *b = a + size;
                if (isInverse) {
                    const double turnedRe = b[0] * re + b[1] * im;
                    const double turnedIm = b[1] * re - b[0] * im;
                    b[0] = a[0] - turnedRe;
                    b[1] = a[1] - turnedIm;
                    a[0] += turnedRe;
                    a[1] += turnedIm;
                } else {
                    const double differenceRe = a[0] - b[0], differenceIm = a[1] - b[1];
                    a[0] += b[0];
                    a[1] += b[1];
                    b[0] = differenceRe * re - differenceIm * im;
                    b[1] = differenceRe * im + differenceIm * re;
                }
            }
    };
    if (isInverse) {
        for (int size = 2; size <= n; size *= 2)
            butterflies(size);
    } else {
        for (int size = n; size >= 2; size /= 2)
            butterflies(size);
    }
}

void execute(double *points, int n, bool isInverse) {
    if (n < smallestKernelSize)
        return transformFew(points, n, isInverse);
    const TransformKernel &kernel = *chosenKernel.load(std::memory_order_relaxed);
    (isInverse ? kernel.inverse : kernel.forward)(points, n, tables.factors);
}

/// Turns the spectrum Z of the complex signal x[2k] + i x[2k + 1], m points, into the spectrum X of
/// x up to bin m, with X[m] in the imaginary part of X[0]. With even part E[k] = (Z[k] + Z*[m-k]) /
/// 2 and odd part O[k] = (Z[k] - Z*[m-k]) / 2i: X[k] = E[k] + e^(-i pi k / m) O[k], and X[m-k] =
/// (E[k] - e^(-i pi k / m) O[k])*. Bin k lies at place[k].
void separate(double *z, int m, const int *place) {
    const double first = z[0];
    z[0] = first + z[1];
    z[1] = first - z[1];
    for (int k = 1; k <= m / 2; ++k) {
        double *a = z + 2 * place[k];
        double *b = z + 2 * place[m - k];
        const double evenRe = 0.5 * (a[0] + b[0]), evenIm = 0.5 * (a[1] - b[1]);
        const double oddRe = 0.5 * (a[1] + b[1]), oddIm = 0.5 * (b[0] - a[0]);
        const auto [re, im] = circlePoint(k, 2 * m);
        const double turnedRe = oddRe * re - oddIm * im, turnedIm = oddRe * im + oddIm * re;
        a[0] = evenRe + turnedRe;
        a[1] = evenIm + turnedIm;
        b[0] = evenRe - turnedRe;
        b[1] = turnedIm - evenIm;
    }
}

} // namespace

void prepareTransforms() {
    static std::mutex lock;
    std::scoped_lock scope(lock);
    if (tables.ready.load(std::memory_order_acquire))
        return;
    double *factors = tables.factorsOfAllSizes;
    for (int n = smallestKernelSize; n <= largestSize; n *= 2) {
        tables.factors.bySize[std::countr_zero(static_cast<unsigned>(n))] = factors;
        factors = writeFactors(factors, n);
    }
    for (int pairs = 1; pairs <= largestPairs; pairs *= 2)
        writePermutation(tables.permutations + pairs, pairs);
    tables.ready.store(true, std::memory_order_release);
}

void fft(double *points, int n, int inverse) {
    if (points && isPowerOfTwo(n, 2, largestSize) && tables.ready.load(std::memory_order_acquire))
        execute(points, n, inverse != 0);
}

void fftReal(double *values, int n, int inverse) {
    if (!values || inverse || !isPowerOfTwo(n, 2 * smallestPairs, largestPairs) ||
        !tables.ready.load(std::memory_order_acquire))
        return;
    execute(values, n / 2, false);
    separate(values, n / 2, fftPermutation(n / 2));
}

const int *fftPermutation(int pairs) {
    if (!isPowerOfTwo(pairs, smallestPairs, largestPairs) ||
        !tables.ready.load(std::memory_order_acquire))
        return nullptr;
    return tables.permutations + pairs;
}

void restrictTransforms(Instructions allowed) {
    chosenKernel = &kernelFor(allowed);
}

} // namespace tonvale::workbench
