#include "measure/complex_transform.h"

#include "test_host/effect_driver.h"

#include <complex>
#include <gtest/gtest.h>
#include <numbers>

namespace tonvale::test {
namespace {

using Points = std::vector<std::complex<double>>;

/// Bin k straight from the definition.
std::complex<double> directBin(const Points &x, size_t k, int sign) {
    std::complex<double> sum;
    for (size_t m = 0; m < x.size(); ++m) {
        const double turns = static_cast<double>(k * m % x.size()) / static_cast<double>(x.size());
        sum += x[m] * std::polar(1.0, sign * 2.0 * std::numbers::pi * turns);
    }
    return sum;
}

TEST(ComplexTransform, AgreesWithTheDefinitionAtEverySizeBothWays) {
    for (int32_t bits = 0; bits <= 13; ++bits) {
        const size_t n = size_t{1} << bits;
        const std::vector<double> re = noise(n, 7), im = noise(n, 8);
        Points input(n);
        for (size_t i = 0; i < n; ++i)
            input[i] = {re[i], im[i]};
        ComplexTransform transform;
        ASSERT_TRUE(transform.prepare(bits));
        Points forward = input, inverse = input;
        transform.forward(reinterpret_cast<double *>(forward.data()));
        transform.inverse(reinterpret_cast<double *>(inverse.data()));
        double error = 0.0;
        for (size_t k = 0; k < n; k += std::max<size_t>(n / 256, 1)) {
            // An odd step past the small sizes, so that all places of a block are seen.
            const size_t bin = k * 5 % n;
            error = std::max(error, std::abs(forward[bin] - directBin(input, bin, -1)));
            error = std::max(error, std::abs(inverse[bin] - directBin(input, bin, 1)));
        }
        EXPECT_LT(error, 1e-12 * std::sqrt(static_cast<double>(n))) << bits;
    }
}

} // namespace
} // namespace tonvale::test
