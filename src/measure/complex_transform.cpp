#include "measure/complex_transform.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace tonvale {

namespace {

/// Transforms of this size and below are made in the nearest cache, stage by stage.
constexpr int32_t maxLeafBits = 10;

void copyPoint(double *to, const double *from) {
    to[0] = from[0];
    to[1] = from[1];
}

/// `low` and `high` become even + w * odd and even - w * odd. They may be the operands' own places.
template <bool isInverse>
void butterfly(const double *even, const double *odd, const double *w, double *low, double *high) {
    const double wr = w[0];
    const double wi = isInverse ? -w[1] : w[1];
    const double tr = wr * odd[0] - wi * odd[1];
    const double ti = wr * odd[1] + wi * odd[0];
    const double er = even[0];
    const double ei = even[1];
    low[0] = er + tr;
    low[1] = ei + ti;
    high[0] = er - tr;
    high[1] = ei - ti;
}

/// Puts each point at the place whose number has its bits in reverse: the order in which repeated
/// splits into even and odd points leave them.
void reverseBitOrder(double *data, int32_t bits) {
    const uint32_t n = 1u << bits;
    uint32_t reversed = 0;
    for (uint32_t i = 0; i < n; ++i) {
        if (i < reversed) {
            std::swap(data[2 * i], data[2 * reversed]);
            std::swap(data[2 * i + 1], data[2 * reversed + 1]);
        }
        // Counts up from the highest bit down.
        uint32_t bit = n >> 1;
        for (; reversed & bit; bit >>= 1)
            reversed ^= bit;
        reversed |= bit;
    }
}

} // namespace

bool ComplexTransform::prepare(int32_t bits) {
    topBits = bits;
    leafBits = std::min(bits, maxLeafBits);
    twiddles = allocatePoints(std::max(bits - 1, 0));
    leafTwiddles = allocatePoints(leafBits);
    scratch = allocatePoints(bits + 1);
    if (!twiddles || !leafTwiddles || !scratch)
        return false;

    const int64_t half = (int64_t{1} << bits) / 2;
    for (int64_t k = 0; k < half; ++k) {
        const double angle = std::numbers::pi * static_cast<double>(k) / static_cast<double>(half);
        twiddles[2 * k] = std::cos(angle);
        twiddles[2 * k + 1] = -std::sin(angle);
    }
    for (int64_t stageHalf = 1; stageHalf < int64_t{1} << leafBits; stageHalf *= 2) {
        for (int64_t k = 0; k < stageHalf; ++k)
            copyPoint(&leafTwiddles[2 * (stageHalf + k)], &twiddles[2 * k * (half / stageHalf)]);
    }
    return true;
}

void ComplexTransform::forward(double *points) {
    transform<false>(topBits, points, 2, scratch.get());
}

void ComplexTransform::inverse(double *points) {
    transform<true>(topBits, points, 2, scratch.get());
}

/// `stride` is the step in doubles from one twiddle of this size to the next; `room` holds twice as
/// many points as `data`.
template <bool isInverse>
void ComplexTransform::transform(int32_t bits, double *data, int64_t stride, double *room) const {
    if (bits <= leafBits)
        return transformLeaf<isInverse>(data);

    const int64_t n = int64_t{1} << bits;
    double *even = room;
    double *odd = room + n;
    for (int64_t k = 0; k < n / 2; ++k) {
        copyPoint(even + 2 * k, data + 4 * k);
        copyPoint(odd + 2 * k, data + 4 * k + 2);
    }

    double *rest = room + 2 * n;
    transform<isInverse>(bits - 1, even, 2 * stride, rest);
    transform<isInverse>(bits - 1, odd, 2 * stride, rest);

    const double *w = twiddles.get();
    for (int64_t k = 0; k < n / 2; ++k) {
        double *low = data + 2 * k;
        butterfly<isInverse>(even + 2 * k, odd + 2 * k, w + k * stride, low, low + n);
    }
}

template <bool isInverse>
void ComplexTransform::transformLeaf(double *data) const {
    reverseBitOrder(data, leafBits);
    const int64_t n = int64_t{1} << leafBits;
    for (int64_t half = 1; half < n; half *= 2) {
        const double *w = &leafTwiddles[2 * half];
        for (double *even = data; even < data + 2 * n; even += 4 * half) {
            for (int64_t k = 0; k < half; ++k) {
                double *low = even + 2 * k;
                double *high = low + 2 * half;
                butterfly<isInverse>(low, high, w + 2 * k, low, high);
            }
        }
    }
}

} // namespace tonvale
