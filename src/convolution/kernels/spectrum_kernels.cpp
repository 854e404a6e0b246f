#include "convolution/kernels/convolution_kernels.h"
#include "convolution/kernels/four_doubles.h"

// Two real channels share one complex transform: left in the real part, right in the imaginary one.
// With Z[k] their common spectrum, conjugate symmetry takes them apart (Cooley, Lewis and Welch
// 1970): 2 L[k] = Z[k] + Z*[n-k] and 2 R[k] = -i (Z[k] - Z*[n-k]); and puts them together again:
// Z[k] = L[k] + i R[k], Z[n-k] = L*[k] + i R*[k]. Half of the bins tell all.
//
// A channel alone goes as its even samples E and odd samples O in a transform of half the size, in
// the places of left and right: X[k] = E[k] + w O[k] and X*[n-k] = E[k] - w O[k], w = e^(-i pi k /
// n), are then its two halves.
//
// Factors of 2 from taking apart are left in the spectra; the response's scale makes up for them.

namespace tonvale {

namespace {

struct Complex {
    Four re, im;
};

[[gnu::always_inline]] inline Complex loadGroup(const double *from) {
    return {load(from), load(from + 4)};
}

[[gnu::always_inline]] inline Complex loadGroup(const float *from) {
    return {loadFloats(from), loadFloats(from + 4)};
}

[[gnu::always_inline]] inline void storeGroup(double *to, Complex z) {
    store(to, z.re);
    store(to + 4, z.im);
}

[[gnu::always_inline]] inline Complex operator+(Complex a, Complex b) {
    return {a.re + b.re, a.im + b.im};
}

[[gnu::always_inline]] inline Complex operator-(Complex a, Complex b) {
    return {a.re - b.re, a.im - b.im};
}

[[gnu::always_inline]] inline Complex operator*(Complex a, Complex b) {
    return {a.re * b.re - a.im * b.im, a.im * b.re + a.re * b.im};
}

[[gnu::always_inline]] inline Complex timesConjugate(Complex a, Complex b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

/// What the two channels, or the two halves of one, have in a group of bins.
struct Pair {
    Complex first, second;
};

constexpr Complex silence{};

/// Points k and n - k of a group.
struct Mirrored {
    Complex straight, mirrored;
};

template <bool isRun>
[[gnu::always_inline]] inline Mirrored loadPoints(const double *points, const int32_t *places) {
    if (isRun) {
        const double *a = points + 2 * places[0], *b = points + 2 * places[4] - 6;
        const Four a0 = load(a), a1 = load(a + 4);
        // The mirrored run goes down.
        const Four b0 = load(b + 4), b1 = load(b);
        return {{zipEven(a0, a1), zipOdd(a0, a1)},
                {swapHalves(zipEven(b0, b1)), swapHalves(zipOdd(b0, b1))}};
    }
    double parts[4][4];
    for (int i = 0; i < 4; ++i) {
        const double *a = points + 2 * places[i], *b = points + 2 * places[4 + i];
        parts[0][i] = a[0];
        parts[1][i] = a[1];
        parts[2][i] = b[0];
        parts[3][i] = b[1];
    }
    return {{load(parts[0]), load(parts[1])}, {load(parts[2]), load(parts[3])}};
}

template <bool isRun>
[[gnu::always_inline]] inline void storePoints(double *points, const int32_t *places, Mirrored z) {
    if (isRun) {
        double *a = points + 2 * places[0], *b = points + 2 * places[4] - 6;
        const Four re = swapHalves(z.mirrored.re), im = swapHalves(z.mirrored.im);
        store(a, zipEven(z.straight.re, z.straight.im));
        store(a + 4, zipOdd(z.straight.re, z.straight.im));
        store(b + 4, zipEven(re, im));
        store(b, zipOdd(re, im));
        return;
    }
    double parts[4][4];
    store(parts[0], z.straight.re);
    store(parts[1], z.straight.im);
    store(parts[2], z.mirrored.re);
    store(parts[3], z.mirrored.im);
    for (int i = 0; i < 4; ++i) {
        double *a = points + 2 * places[i], *b = points + 2 * places[4 + i];
        a[0] = parts[0][i];
        a[1] = parts[1][i];
        b[0] = parts[2][i];
        b[1] = parts[3][i];
    }
}

template <bool isRun, bool isAlone>
[[gnu::always_inline]] inline Pair takeApart(const SpectrumLayout &layout, const double *points,
                                             int32_t group) {
    const auto [a, b] = loadPoints<isRun>(points, layout.places + groupSize * group);
    const Pair pair{{a.re + b.re, a.im - b.im}, {a.im + b.im, b.re - a.re}};
    if (!isAlone)
        return pair;
    const Complex turned = pair.second * loadGroup(layout.rotation + groupSize * group);
    return {pair.first + turned, pair.first - turned};
}

template <bool isRun, bool isAlone>
[[gnu::always_inline]] inline void putTogether(const SpectrumLayout &layout, double *points,
                                               int32_t group, Pair pair) {
    if (isAlone) {
        const Four half = splat(0.5);
        const Complex sum = pair.first + pair.second, difference = pair.first - pair.second;
        const Complex turned =
            timesConjugate(difference, loadGroup(layout.rotation + groupSize * group));
        pair = {{sum.re * half, sum.im * half}, {turned.re * half, turned.im * half}};
    }
    const auto &[l, r] = pair;
    storePoints<isRun>(points, layout.places + groupSize * group,
                       {{l.re - r.im, l.im + r.re}, {l.re + r.im, r.re - l.im}});
}

template <bool isRun, bool isAlone>
void separateGroups(const SpectrumLayout &layout, const double *points, float *first, float *second,
                    int32_t stride, int32_t from, int32_t to) {
    for (int32_t group = from; group < to; ++group) {
        const Pair pair = takeApart<isRun, isAlone>(layout, points, group);
        const int64_t at = int64_t{stride} * group;
        storeFloats(first + at, pair.first.re);
        storeFloats(first + at + 4, pair.first.im);
        if (!second)
            continue;
        storeFloats(second + at, pair.second.re);
        storeFloats(second + at + 4, pair.second.im);
    }
}

template <bool isAlone>
void separateAll(const SpectrumLayout &layout, const double *points, float *first, float *second,
                 int32_t stride) {
    separateGroups<true, isAlone>(layout, points, first, second, stride, 0, layout.runGroups);
    separateGroups<false, isAlone>(layout, points, first, second, stride, layout.runGroups,
                                   layout.groups);
}

void separateResponse(const SpectrumLayout &layout, const double *points, float *first,
                      float *second, int32_t stride) {
    (layout.rotation ? separateAll<true> : separateAll<false>)(layout, points, first, second,
                                                               stride);
}

/// Adds the products of `count` spectra, one turn older from one to the next, with as many parts.
template <bool sameResponse>
[[gnu::always_inline]] inline void accumulate(Pair &sum, const double *first, const double *second,
                                              const float *firstPart, const float *secondPart,
                                              int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const Complex h = loadGroup(firstPart + groupSize * i);
        sum.first = sum.first + loadGroup(first + groupSize * i) * h;
        const Complex g = sameResponse ? h : loadGroup(secondPart + groupSize * i);
        sum.second = sum.second + loadGroup(second + groupSize * i) * g;
    }
}

template <bool isRun, bool isAlone, bool sameResponse>
void multiplyShortGroups(const SpectrumLayout &layout, const ShortProduct &p, double *points,
                         int32_t from, int32_t to) {
    // The ages in question lie in one or two pieces of the ring.
    const int32_t firstSlot = p.newest + p.firstAge;
    const int32_t start = firstSlot < p.slots ? firstSlot : firstSlot - p.slots;
    const int32_t count = p.endAge - p.firstAge;
    const int32_t upper = count < p.slots - start ? count : p.slots - start;
    for (int32_t group = from; group < to; ++group) {
        const int64_t ring = int64_t{groupSize} * p.slots * group;
        double *first = p.history[0] + ring, *second = p.history[1] + ring;
        if (p.fresh) {
            const Pair pair = takeApart<isRun, isAlone>(layout, points, group);
            storeGroup(first + groupSize * p.newest, pair.first);
            storeGroup(second + groupSize * p.newest, pair.second);
        }
        const int64_t part =
            int64_t{groupSize} * p.parts * group + groupSize * (p.firstAge + p.firstPart);
        const float *h = p.response[0] + part, *g = p.response[1] + part;
        Pair sum{silence, silence};
        accumulate<sameResponse>(sum, first + groupSize * start, second + groupSize * start, h, g,
                                 upper);
        accumulate<sameResponse>(sum, first, second, h + groupSize * upper, g + groupSize * upper,
                                 count - upper);
        putTogether<isRun, isAlone>(layout, points, group, sum);
    }
}

template <bool isAlone, bool sameResponse>
void multiplyShortAll(const SpectrumLayout &layout, const ShortProduct &product, double *points) {
    multiplyShortGroups<true, isAlone, sameResponse>(layout, product, points, 0, layout.runGroups);
    multiplyShortGroups<false, isAlone, sameResponse>(layout, product, points, layout.runGroups,
                                                      layout.groups);
}

void multiplyShort(const SpectrumLayout &layout, const ShortProduct &product, double *points) {
    if (layout.rotation)
        multiplyShortAll<true, false>(layout, product, points);
    else if (product.response[0] == product.response[1])
        multiplyShortAll<false, true>(layout, product, points);
    else
        multiplyShortAll<false, false>(layout, product, points);
}

template <bool isRun, bool isAlone, bool sameResponse>
void multiplyFreshGroups(const SpectrumLayout &layout, const LongProduct &p, int32_t turn,
                         double *points, int32_t from, int32_t to) {
    const int64_t step = int64_t{groupSize} * p.groups;
    for (int32_t group = from; group < to; ++group) {
        const Pair pair = takeApart<isRun, isAlone>(layout, points, group);
        const int64_t at = int64_t{groupSize} * group;
        storeGroup(p.fresh[0] + turn * step + at, pair.first);
        storeGroup(p.fresh[1] + turn * step + at, pair.second);
        Pair sum{silence, silence};
        if (p.hasSums)
            sum = {loadGroup(p.sums[0] + turn * step + at),
                   loadGroup(p.sums[1] + turn * step + at)};
        for (int32_t j = 0; j <= turn - p.firstFresh; ++j) {
            const int64_t spectrum = (turn - j) * step + at, part = j * step + at;
            accumulate<sameResponse>(sum, p.fresh[0] + spectrum, p.fresh[1] + spectrum,
                                     p.newest[0] + part, p.newest[1] + part, 1);
        }
        putTogether<isRun, isAlone>(layout, points, group, sum);
    }
}

template <bool isAlone, bool sameResponse>
void multiplyFreshAll(const SpectrumLayout &layout, const LongProduct &product, int32_t turn,
                      double *points) {
    multiplyFreshGroups<true, isAlone, sameResponse>(layout, product, turn, points, 0,
                                                     layout.runGroups);
    multiplyFreshGroups<false, isAlone, sameResponse>(layout, product, turn, points,
                                                      layout.runGroups, layout.groups);
}

void multiplyFresh(const SpectrumLayout &layout, const LongProduct &product, int32_t turn,
                   double *points) {
    if (layout.rotation)
        multiplyFreshAll<true, false>(layout, product, turn, points);
    else if (product.newest[0] == product.newest[1])
        multiplyFreshAll<false, true>(layout, product, turn, points);
    else
        multiplyFreshAll<false, false>(layout, product, turn, points);
}

/// Spectra and parts are asked for this far ahead, in bytes.
constexpr int32_t ahead = 2048;

/// Adds spectra of ages from `age` on to the sums of all turns. Turn r meets them with parts that
/// are r further on: each part that is read serves one turn after the other.
[[gnu::always_inline]] inline void accumulateTurns(Complex (&sum)[turnsAPass],
                                                   const double *spectra, const float *parts,
                                                   int32_t count) {
    Complex h[turnsAPass];
    for (int32_t r = 0; r < turnsAPass - 1; ++r)
        h[r] = loadGroup(parts + groupSize * r);
    parts += groupSize * (turnsAPass - 1);
    for (int32_t i = 0; i < count; ++i) {
        const double *x = spectra + groupSize * i;
        h[turnsAPass - 1] = loadGroup(parts + groupSize * i);
        __builtin_prefetch(reinterpret_cast<const char *>(x) + ahead);
        __builtin_prefetch(reinterpret_cast<const char *>(parts + groupSize * i) + ahead);
        const Complex spectrum = loadGroup(x);
        for (int32_t r = 0; r < turnsAPass; ++r)
            sum[r] = sum[r] + spectrum * h[r];
        for (int32_t r = 0; r + 1 < turnsAPass; ++r)
            h[r] = h[r + 1];
    }
}

void sumHistory(const LongProduct &p, int32_t from, int32_t to) {
    const int64_t step = int64_t{groupSize} * p.groups;
    for (int32_t channel = 0; channel < 2; ++channel)
        for (int32_t group = from; group < to; ++group) {
            const int64_t at = int64_t{groupSize} * group;
            double *ring = p.history[channel] + at * p.slots;
            for (int32_t age = 0; age < turnsAPass && age < p.slots; ++age) {
                const int32_t turn = turnsAPass - 1 - age;
                const int32_t slot = (p.newestSlot + age) % p.slots;
                storeGroup(ring + groupSize * slot,
                           turn < p.firstFresh ? silence
                                               : loadGroup(p.fresh[channel] + turn * step + at));
            }

            Complex sum[turnsAPass];
            for (Complex &turn : sum)
                turn = silence;
            // Part 0 is for fresh spectra; age 0 meets part 1 in the next turn.
            const float *parts = p.response[channel] + at * p.parts + groupSize;
            const int32_t above = p.slots - p.newestSlot;
            const int32_t upper = p.ages < above ? p.ages : above;
            accumulateTurns(sum, ring + groupSize * p.newestSlot, parts, upper);
            accumulateTurns(sum, ring, parts + groupSize * upper, p.ages - upper);
            for (int32_t turn = 0; turn < turnsAPass; ++turn)
                storeGroup(p.sums[channel] + turn * step + at, sum[turn]);
        }
}

} // namespace

#if defined(__AVX2__)
const SpectrumKernels avx2SpectrumKernels{separateResponse, multiplyShort, multiplyFresh,
                                          sumHistory};
#else
const SpectrumKernels baselineSpectrumKernels{separateResponse, multiplyShort, multiplyFresh,
                                              sumHistory};
#endif

} // namespace tonvale
