#include "workbench/services/transforms.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <utility>
#include <vector>

namespace tonvale::workbench {

namespace {

using Point = std::complex<double>;

constexpr int smallestSize = 32;
constexpr int largestSize = 32768;

/// e^(-2 pi i k / largestSize) for the first half of the circle.
const std::array<Point, largestSize / 2> &circle() {
    static const auto points = [] {
        std::array<Point, largestSize / 2> all;
        for (size_t k = 0; k < all.size(); ++k)
            all[k] =
                std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(k) / largestSize);
        return all;
    }();
    return points;
}

bool isOffered(int n) {
    return n >= smallestSize && n <= largestSize && std::has_single_bit(static_cast<unsigned>(n));
}

void reverseBits(Point *points, int n) {
    for (int i = 1, j = 0; i < n; ++i) {
        int bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(points[i], points[j]);
    }
}

Point times(Point a, Point b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

} // namespace

void prepareTransforms() {
    circle();
}

void fft(double *values, int n, int inverse) {
    if (!values || !isOffered(n))
        return;
    auto *points = reinterpret_cast<Point *>(values);
    reverseBits(points, n);
    for (int size = 2; size <= n; size *= 2) {
        const int half = size / 2, stride = largestSize / size;
        for (int k = 0; k < half; ++k) {
            const Point turn = circle()[static_cast<size_t>(k * stride)];
            const Point w = inverse ? std::conj(turn) : turn;
            for (Point *at = points + k; at < points + n; at += size) {
                const Point odd = times(at[half], w);
                at[half] = at[0] - odd;
                at[0] += odd;
            }
        }
    }
}

void fftReal(double *values, int n, int inverse) {
    if (!values || !isOffered(n) || inverse)
        return;
    std::vector<Point> points(values, values + n);
    fft(reinterpret_cast<double *>(points.data()), n, 0);
    const auto half = static_cast<size_t>(n) / 2;
    std::copy_n(reinterpret_cast<const double *>(points.data()), n, values);
    values[1] = points[half].real();
}

const int *fftPermutation(int pairs) {
    static const auto natural = [] {
        std::array<int, largestSize> table{};
        std::iota(table.begin(), table.end(), 0);
        return table;
    }();
    const bool isOneOfThese = isOffered(pairs) || pairs == smallestSize / 2;
    return isOneOfThese ? natural.data() : nullptr;
}

} // namespace tonvale::workbench
