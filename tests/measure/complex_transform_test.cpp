#include "measure/complex_transform.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

namespace tonvale {

namespace {

using Points = std::vector<std::complex<double>>;

Points noise(size_t count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> level(-1.0, 1.0);
    Points points(count);
    for (auto &point : points)
        point = {level(random), level(random)};
    return points;
}

double *raw(Points &points) {
    return reinterpret_cast<double *>(points.data());
}

/// Bin k straight from the definition.
std::complex<double> directBin(const Points &x, size_t k, int sign) {
    std::complex<double> sum;
    for (size_t m = 0; m < x.size(); ++m) {
        const double turns = static_cast<double>(k * m % x.size()) / static_cast<double>(x.size());
        sum += x[m] * std::polar(1.0, sign * 2.0 * std::numbers::pi * turns);
    }
    return sum;
}

} // namespace

TEST(ComplexTransform, AgreesWithTheDefinitionAtEverySizeBothWays) {
    for (int32_t bits = 0; bits <= 13; ++bits) {
        const size_t n = size_t{1} << bits;
        const Points input = noise(n);
        ComplexTransform transform;
        ASSERT_TRUE(transform.prepare(bits));
        Points forward = input, inverse = input;
        transform.forward(raw(forward));
        transform.inverse(raw(inverse));
        double error = 0.0;
        for (size_t k = 0; k < n; k += std::max<size_t>(n / 512, 1)) {
            // An odd step past the small sizes, so that all places of a block are seen.
            const size_t bin = k * 5 % n;
            error = std::max(error, std::abs(forward[bin] - directBin(input, bin, -1)));
            error = std::max(error, std::abs(inverse[bin] - directBin(input, bin, 1)));
        }
        EXPECT_LT(error, 1e-12 * std::sqrt(static_cast<double>(n))) << bits;
    }
}

TEST(ComplexTransform, ComesBackAsTheInputTimesTheSize) {
    for (const int32_t bits : {10, 17}) {
        const Points input = noise(size_t{1} << bits);
        ComplexTransform transform;
        ASSERT_TRUE(transform.prepare(bits));
        Points points = input;
        transform.forward(raw(points));
        transform.inverse(raw(points));
        double error = 0.0;
        for (size_t i = 0; i < input.size(); ++i)
            error = std::max(error, std::abs(points[i] - std::ldexp(1.0, bits) * input[i]));
        EXPECT_LT(std::ldexp(error, -bits), 4e-15);
    }
}

} // namespace tonvale
