#include "convolution/kernels/convolution_kernels.h"
#include "convolution/kernels/four_doubles.h"

namespace tonvale {

namespace {

void interleave(const double *left, const double *right, double *frames, int32_t count) {
    if (left && right) {
        int32_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const Four l = load(left + i), r = load(right + i);
            const Four even = zipEven(l, r), odd = zipOdd(l, r);
            store(frames + 2 * i, lowHalves(even, odd));
            store(frames + 2 * i + 4, highHalves(even, odd));
        }
        for (; i < count; ++i) {
            frames[2 * i] = left[i];
            frames[2 * i + 1] = right[i];
        }
        return;
    }
    for (int32_t i = 0; i < count; ++i) {
        frames[2 * i] = left ? left[i] : 0.0;
        frames[2 * i + 1] = right ? right[i] : 0.0;
    }
}

void separate(const double *frames, double *left, double *right, int32_t count) {
    if (left && right) {
        int32_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const Four first = load(frames + 2 * i), second = load(frames + 2 * i + 4);
            const Four low = lowHalves(first, second), high = highHalves(first, second);
            store(left + i, zipEven(low, high));
            store(right + i, zipOdd(low, high));
        }
        for (; i < count; ++i) {
            left[i] = frames[2 * i];
            right[i] = frames[2 * i + 1];
        }
        return;
    }
    for (int32_t i = 0; i < count; ++i) {
        if (left)
            left[i] = frames[2 * i];
        if (right)
            right[i] = frames[2 * i + 1];
    }
}

void dropUnheard(double *samples, int32_t count) {
    constexpr double least = 0x1p-54;
    constexpr double most = 0x1.fffffffffffffp+1023;
    int32_t i = 0;
    for (; i + 4 <= count; i += 4)
        store(samples + i, keepBetween(load(samples + i), least, most));
    for (; i < count; ++i) {
        const double magnitude = samples[i] < 0.0 ? -samples[i] : samples[i];
        if (!(magnitude >= least && magnitude <= most))
            samples[i] = 0.0;
    }
}

bool isAudible(const double *samples, int32_t count) {
    // Mostly the first one tells.
    constexpr double most = 1e-12;
    for (int32_t i = 0; i < count; ++i) {
        if (samples[i] > most || samples[i] < -most)
            return true;
    }
    return false;
}

/// `vectors` at once share each load of a tap; their sums are independent.
template <int32_t vectors>
[[gnu::always_inline]] inline void convolveGroup(const double *taps, int32_t tapCount,
                                                 int32_t width, const double *input, double *sums) {
    Four sum[vectors];
    for (int32_t v = 0; v < vectors; ++v)
        sum[v] = load(sums + 4 * v);
    for (int32_t j = 0; j < tapCount; ++j, input -= width) {
        const Four tap = load(taps + 4 * j);
        for (int32_t v = 0; v < vectors; ++v)
            sum[v] = sum[v] + tap * load(input + 4 * v);
    }
    for (int32_t v = 0; v < vectors; ++v)
        store(sums + 4 * v, sum[v]);
}

void convolve(const double *taps, int32_t tapCount, int32_t width, const double *input,
              double *sums, int32_t count) {
    int32_t i = 0;
    for (; i + 32 <= count; i += 32)
        convolveGroup<8>(taps, tapCount, width, input + i, sums + i);
    for (; i + 4 <= count; i += 4)
        convolveGroup<1>(taps, tapCount, width, input + i, sums + i);
    for (; i < count; ++i) {
        double sum = sums[i];
        for (int32_t j = 0; j < tapCount; ++j)
            sum += taps[4 * j + i % 4] * input[i - width * j];
        sums[i] = sum;
    }
}

void add(double *sums, const double *samples, int32_t count) {
    for (int32_t i = 0; i < count; ++i)
        sums[i] += samples[i];
}

} // namespace

#if defined(__AVX2__)
const SampleKernels avx2SampleKernels{interleave, dropUnheard, isAudible, convolve, add, separate};
#else
const SampleKernels baselineSampleKernels{interleave, dropUnheard, isAudible,
                                          convolve,   add,         separate};
#endif

} // namespace tonvale
