#include "workbench/services/transforms.h"

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

namespace tonvale::workbench {

namespace {

using Complex = std::complex<double>;
using Exact = std::complex<long double>;

std::vector<double> noise(size_t count) {
    static std::mt19937 random(1);
    std::uniform_real_distribution<double> level(-1.0, 1.0);
    std::vector<double> values(count);
    for (double &value : values)
        value = level(random);
    return values;
}

/// All bins, in natural order: recursive halving in extended precision.
std::vector<Exact> spectrum(const std::vector<Exact> &x, int sign) {
    const size_t n = x.size();
    if (n == 1)
        return x;
    std::vector<Exact> half[2];
    for (size_t i = 0; i < n; ++i)
        half[i % 2].push_back(x[i]);
    const std::vector<Exact> even = spectrum(half[0], sign), odd = spectrum(half[1], sign);
    std::vector<Exact> bins(n);
    for (size_t k = 0; k < n / 2; ++k) {
        const long double turn = static_cast<long double>(k) / static_cast<long double>(n);
        const Exact turned =
            odd[k] * std::polar(1.0L, sign * 2.0L * std::numbers::pi_v<long double> * turn);
        bins[k] = even[k] + turned;
        bins[k + n / 2] = even[k] - turned;
    }
    return bins;
}

std::vector<Exact> exactly(const Complex *points, size_t n) {
    return {points, points + n};
}

size_t bitReversed(size_t k, size_t n) {
    size_t reversed = 0;
    for (; n > 1; n /= 2, k /= 2)
        reversed = 2 * reversed + k % 2;
    return reversed;
}

struct Transforms : testing::Test {
    Transforms() { prepareTransforms(); }
    ~Transforms() override { restrictTransforms(Instructions::best); }
};

TEST_F(Transforms, EqualAnExtendedOneAtEverySizeInBothDirectionsWhateverTheAlignment) {
    for (size_t n = 2; n <= 131072; n *= 2) {
        for (const size_t shift : {0, 1}) {
            std::vector<double> room = noise(2 * n + shift);
            auto *points = reinterpret_cast<Complex *>(room.data() + shift);
            const auto given = exactly(points, n);
            fft(room.data() + shift, static_cast<int>(n), 0);
            // An error grows with the logarithm of the size, a bin with its square root.
            const double most = 3e-16 * std::log2(n) * std::sqrt(n);
            const std::vector<Exact> bins = spectrum(given, -1);
            for (size_t k = 0; k < n; ++k)
                ASSERT_LT(std::abs(Exact(points[bitReversed(k, n)]) - bins[k]), most)
                    << n << " points, bin " << k;

            // The inverse takes the same order: back it comes, n times as large.
            std::vector<Exact> natural(n);
            for (size_t k = 0; k < n; ++k)
                natural[k] = points[bitReversed(k, n)];
            const std::vector<Exact> back = spectrum(natural, 1);
            fft(room.data() + shift, static_cast<int>(n), 1);
            for (size_t t = 0; t < n; ++t)
                ASSERT_LT(std::abs(Exact(points[t]) - back[t]), most * std::sqrt(n))
                    << n << " points, sample " << t;
        }
    }
}

TEST_F(Transforms, GiveTheSameBitsWithoutVectorsOfFour) {
    for (int n = 2; n <= 131072; n *= 2) {
        for (const int inverse : {0, 1}) {
            std::vector<double> plain = noise(2 * static_cast<size_t>(n)), best = plain;
            restrictTransforms(Instructions::baseline);
            fft(plain.data(), n, inverse);
            restrictTransforms(Instructions::best);
            fft(best.data(), n, inverse);
            ASSERT_EQ(std::memcmp(plain.data(), best.data(), plain.size() * sizeof(double)), 0)
                << n;
        }
    }
}

TEST_F(Transforms, RealSpectrumLiesWhereThePermutationTells) {
    for (const size_t n : {32u, 64u, 512u, 32768u}) {
        std::vector<double> values = noise(n);
        const std::vector<Complex> given(values.begin(), values.end());
        const std::vector<Exact> bins = spectrum(exactly(given.data(), n), -1);
        fftReal(values.data(), static_cast<int>(n), 0);
        const int *place = fftPermutation(static_cast<int>(n / 2));
        const double most = 3e-16 * std::log2(n) * std::sqrt(n);
        EXPECT_NEAR(values[0], static_cast<double>(bins[0].real()), most);
        EXPECT_NEAR(values[1], static_cast<double>(bins[n / 2].real()), most);
        for (size_t k = 1; k < n / 2; ++k) {
            const double *pair = values.data() + 2 * place[k];
            ASSERT_LT(std::abs(Exact(pair[0], pair[1]) - bins[k]), most) << k;
        }
    }
}

TEST_F(Transforms, LeaveTheDataOfOtherSizesAlone) {
    const std::vector<double> given = noise(256);
    std::vector<double> points = given;
    for (const int n : {INT32_MIN, -64, 0, 1, 31, 33, 48, 262144, INT32_MAX}) {
        fft(points.data(), n, 0);
        fftReal(points.data(), n, 0);
        EXPECT_EQ(fftPermutation(n), nullptr) << n;
    }
    for (const int n : {16, 65536})
        fftReal(points.data(), n, 0);
    EXPECT_EQ(fftPermutation(8), nullptr);
    fftReal(points.data(), 64, 1);
    fft(nullptr, 64, 0);
    fftReal(nullptr, 64, 0);
    EXPECT_EQ(points, given);
}

} // namespace

} // namespace tonvale::workbench
