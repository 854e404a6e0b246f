#include "workbench/services/transforms.h"

#include "test_folder.h"
#include "workbench/services/transform_wisdom.h"
#include "workbench/sounds.h"

#include <complex>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

namespace tonvale::workbench {

namespace {

using test::noise;
using Complex = std::complex<double>;

/// One bin by its definition: the sum of x[t] e^(sign 2 pi i k t / n).
Complex bin(const std::vector<Complex> &x, size_t k, double sign) {
    Complex sum = 0.0;
    for (size_t t = 0; t < x.size(); ++t) {
        const double turn = static_cast<double>(k * t % x.size()) / static_cast<double>(x.size());
        sum += x[t] * std::polar(1.0, sign * 2.0 * std::numbers::pi * turn);
    }
    return sum;
}

struct Transforms : testing::TestWithParam<size_t> {
    Transforms() { prepareTransforms(); }
    const size_t n = GetParam();
    const size_t binStep = n / 128 + 1; ///< some bins of a large transform are enough
    const double tolerance = 1e-13 * static_cast<double>(n);
};

} // namespace

TEST_P(Transforms, MatchTheDefinitionInBothDirectionsWhateverTheAlignment) {
    for (int inverse = 0; inverse < 2; ++inverse)
        for (size_t shift = 0; shift < 3; ++shift) {
            std::vector<double> room = noise(2 * n + shift, 1);
            auto *points = reinterpret_cast<Complex *>(room.data() + shift);
            const std::vector<Complex> given(points, points + n);
            fft(room.data() + shift, static_cast<int>(n), inverse);
            for (size_t k = 0; k < n; k += binStep)
                ASSERT_LT(std::abs(points[k] - bin(given, k, inverse ? 1.0 : -1.0)), tolerance);
            fft(room.data() + shift, static_cast<int>(n), !inverse);
            for (size_t t = 0; t < n; ++t)
                ASSERT_LT(std::abs(points[t] / static_cast<double>(n) - given[t]), 1e-14);
        }
}

TEST_P(Transforms, RealSpectrumLiesWhereThePermutationTells) {
    std::vector<double> values = noise(n, 2);
    const std::vector<Complex> given(values.begin(), values.end());
    fftReal(values.data(), static_cast<int>(n), 0);
    const int *place = fftPermutation(static_cast<int>(n / 2));
    EXPECT_NEAR(values[0], bin(given, 0, -1.0).real(), tolerance);
    EXPECT_NEAR(values[1], bin(given, n / 2, -1.0).real(), tolerance);
    for (size_t k = 1; k < n / 2; k += binStep) {
        const double *pair = values.data() + 2 * place[k];
        ASSERT_LT(std::abs(Complex(pair[0], pair[1]) - bin(given, k, -1.0)), tolerance) << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Transforms, testing::Values(32, 64, 512, 8192, 32768));

TEST(TransformsOfOtherSizes, LeaveTheDataAlone) {
    prepareTransforms();
    const std::vector<double> given = noise(256, 3);
    std::vector<double> points = given;
    for (int n : {INT32_MIN, -64, 0, 1, 16, 31, 33, 48, 65536, INT32_MAX}) {
        fft(points.data(), n, 0);
        fftReal(points.data(), n, 0);
        EXPECT_EQ(fftPermutation(n == 16 ? 8 : n | 1), nullptr) << n;
    }
    fftReal(points.data(), 64, 1);
    fft(nullptr, 64, 0);
    fftReal(nullptr, 64, 0);
    EXPECT_EQ(points, given);
}

TEST(TransformWisdom, IsKeptForTheNextProcess) {
    prepareTransforms();
    EXPECT_TRUE(readWisdom().starts_with("(fftw-"));
}

TEST(TransformWisdom, IsIgnoredWhereItIsDamagedAndCanBeWrittenAnew) {
    const TestFolder folder;
    setenv("XDG_CACHE_HOME", folder.path.c_str(), 1);
    EXPECT_EQ(readWisdom(), "");
    const std::string wisdom = "(fftw-3.3 (a 1)\n (b 2))\n";
    writeWisdom("earlier");
    writeWisdom(wisdom);
    EXPECT_EQ(readWisdom(), wisdom);
    const std::string file = folder.file("tonvale/fft-wisdom");
    const std::filesystem::directory_iterator kept(folder.path / "tonvale");
    EXPECT_EQ(std::distance(begin(kept), end(kept)), 1) << "a draft stayed behind";
    const std::string whole = contents(file);
    for (size_t at = 0; at < whole.size(); ++at) {
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] + 1);
        for (const std::string &damaged : {changed, whole.substr(0, at)}) {
            std::ofstream(file, std::ios::binary) << damaged;
            ASSERT_EQ(readWisdom(), "") << "at " << at;
        }
    }
    writeWisdom(wisdom);
    EXPECT_EQ(readWisdom(), wisdom);
    // A folder that can't be made is borne in silence.
    std::ofstream(folder.file("plain")) << "no folder";
    setenv("XDG_CACHE_HOME", folder.file("plain").c_str(), 1);
    writeWisdom(wisdom);
    EXPECT_EQ(readWisdom(), "");
    unsetenv("XDG_CACHE_HOME");
}

} // namespace tonvale::workbench
