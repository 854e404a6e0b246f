#include "workbench/services/transforms.h"

#include "test_folder.h"
#include "workbench/services/transform_wisdom.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

namespace tonvale::workbench {

namespace {

using Complex = std::complex<double>;

std::vector<double> noise(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> level(-1.0, 1.0);
    std::vector<double> values(count);
    for (double &value : values)
        value = level(random);
    return values;
}

/// One bin by its definition: the sum of x[t] e^(sign 2 pi i k t / n).
Complex bin(const double *points, int n, int k, double sign) {
    Complex sum = 0.0;
    for (int64_t t = 0; t < n; ++t) {
        const auto turn = static_cast<double>(k * t % n) / n;
        sum += Complex(points[2 * t], points[2 * t + 1]) *
               std::polar(1.0, sign * 2.0 * std::numbers::pi * turn);
    }
    return sum;
}

/// All bins of a small transform, some of a large one.
int binStep(int n) {
    return n <= 256 ? 1 : n / 16 + 1;
}

double tolerance(int n) {
    return 1e-13 * n;
}

struct Transforms : testing::Test {
    Transforms() {
        useSharedCache();
        prepareTransforms();
    }
};

} // namespace

TEST_F(Transforms, MatchTheDefinitionInBothDirectionsWhateverTheAlignment) {
    for (int n = 32; n <= 32768; n *= 2)
        for (int inverse = 0; inverse < 2; ++inverse)
            for (size_t shift = 0; shift < 3; ++shift) {
                std::vector<double> room = noise(2 * static_cast<size_t>(n) + shift, 1);
                double *points = room.data() + shift;
                const std::vector<double> given(points, points + 2 * n);
                fft(points, n, inverse);
                for (int k = 0; k < n; k += binStep(n)) {
                    const Complex wanted = bin(given.data(), n, k, inverse ? 1.0 : -1.0);
                    ASSERT_NEAR(points[2 * k], wanted.real(), tolerance(n)) << n << " bin " << k;
                    ASSERT_NEAR(points[2 * k + 1], wanted.imag(), tolerance(n));
                }
            }
}

TEST_F(Transforms, ForwardThenInverseGivesNTimesTheInput) {
    for (int n = 32; n <= 32768; n *= 2) {
        const std::vector<double> given = noise(2 * static_cast<size_t>(n), 2);
        std::vector<double> points = given;
        fft(points.data(), n, 0);
        fft(points.data(), n, 1);
        for (size_t i = 0; i < points.size(); ++i)
            ASSERT_NEAR(points[i] / n, given[i], 1e-14) << n;
    }
}

TEST_F(Transforms, RealSpectrumLiesWhereThePermutationTells) {
    for (int n = 32; n <= 32768; n *= 2)
        for (size_t shift = 0; shift < 2; ++shift) {
            std::vector<double> room = noise(static_cast<size_t>(n) + shift, 3);
            double *values = room.data() + shift;
            std::vector<double> given(2 * static_cast<size_t>(n));
            for (int t = 0; t < n; ++t)
                given[2 * static_cast<size_t>(t)] = values[t];
            fftReal(values, n, 0);
            const int *place = fftPermutation(n / 2);
            ASSERT_NE(place, nullptr);
            EXPECT_NEAR(values[0], bin(given.data(), n, 0, -1.0).real(), tolerance(n));
            EXPECT_NEAR(values[1], bin(given.data(), n, n / 2, -1.0).real(), tolerance(n));
            for (int k = 1; k < n / 2; k += binStep(n)) {
                const Complex wanted = bin(given.data(), n, k, -1.0);
                ASSERT_NEAR(values[2 * place[k]], wanted.real(), tolerance(n)) << n << " " << k;
                ASSERT_NEAR(values[2 * place[k] + 1], wanted.imag(), tolerance(n));
            }
        }
}

TEST_F(Transforms, KeepWhatPlanningFoundForTheNextProcess) {
    EXPECT_TRUE(readWisdom().starts_with("(fftw-"));
}

TEST_F(Transforms, LeaveTheDataAloneForWhatTheyDontOffer) {
    const std::vector<double> given = noise(256, 4);
    std::vector<double> points = given;
    for (int n : {INT32_MIN, -64, 0, 1, 16, 31, 33, 48, 65536, INT32_MAX}) {
        fft(points.data(), n, 0);
        fftReal(points.data(), n, 0);
        EXPECT_EQ(fftPermutation(n == 16 ? 8 : n == 65536 ? n : n | 1), nullptr) << n;
    }
    fftReal(points.data(), 64, 1);
    fft(nullptr, 64, 0);
    fftReal(nullptr, 64, 0);
    EXPECT_EQ(points, given);
}

TEST_F(Transforms, GiveEveryThreadTheSameResultAtOnce) {
    const std::vector<double> given = noise(4096, 5);
    std::vector<double> alone = given;
    fft(alone.data(), 2048, 0);
    std::vector<std::vector<double>> results(4, given);
    std::vector<std::thread> threads;
    for (auto &result : results)
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                result = given;
                fft(result.data(), 2048, 0);
            }
        });
    for (auto &thread : threads)
        thread.join();
    for (const auto &result : results)
        EXPECT_EQ(result, alone);
}

TEST(TransformWisdom, SurvivesAFolderThatCantBeWrittenAndComesBackWhole) {
    const TestFolder folder;
    setenv("XDG_CACHE_HOME", folder.path.c_str(), 1);
    EXPECT_EQ(readWisdom(), "");
    writeWisdom("first");
    writeWisdom("second");
    EXPECT_EQ(readWisdom(), "second");
    // Nothing but the file itself stays behind.
    const std::filesystem::directory_iterator kept(folder.path / "tonvale");
    EXPECT_EQ(std::distance(begin(kept), end(kept)), 1);

    const std::string blocked = folder.file("plain");
    std::ofstream(blocked) << "no folder";
    setenv("XDG_CACHE_HOME", blocked.c_str(), 1);
    writeWisdom("third");
    EXPECT_EQ(readWisdom(), "");
    unsetenv("XDG_CACHE_HOME");
}

TEST(TransformWisdom, IsIgnoredWhereItIsDamagedAndCanBeWrittenAnew) {
    const TestFolder folder;
    setenv("XDG_CACHE_HOME", folder.path.c_str(), 1);
    const std::string wisdom = "(fftw-3.3 (a 1)\n (b 2))\n";
    writeWisdom(wisdom);
    const std::string file = std::filesystem::directory_iterator(folder.path / "tonvale")->path();
    std::ifstream in(file, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), {});
    for (size_t at = 0; at < whole.size(); ++at) {
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] + 1);
        std::ofstream(file, std::ios::binary | std::ios::trunc) << changed;
        ASSERT_EQ(readWisdom(), "") << "byte " << at;
        std::ofstream(file, std::ios::binary | std::ios::trunc) << whole.substr(0, at);
        ASSERT_EQ(readWisdom(), "") << "cut at " << at;
    }
    writeWisdom(wisdom);
    EXPECT_EQ(readWisdom(), wisdom);
    unsetenv("XDG_CACHE_HOME");
}

} // namespace tonvale::workbench
