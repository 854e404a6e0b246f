#include "workbench/services/drawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace tonvale::workbench::test {

namespace {

constexpr int span = 9, width = 7, height = 6;
constexpr uint32_t below = 0xFF204060;

class Pixels final : public HostBitmap {
  public:
    void destroy(int) override {}
    uint32_t *pixels() override { return all.data(); }
    int width() override { return test::width; }
    int height() override { return test::height; }
    int rowSpan() override { return span; }
    int reserved() override { return 0; }
    bool resize(int, int) override { return false; }
    void *deviceContext() override { return nullptr; }
    int extended(int, void *) override { return 0; }

    bool operator==(const Pixels &other) const { return all == other.all; }
    std::vector<uint32_t> all = std::vector<uint32_t>(size_t{span} * test::height, below);
};

} // namespace

TEST(Drawing, LinesAreCutAtTheEdgesAndStayTheSameLines) {
    std::mt19937 random(5);
    for (int round = 0; round < 4000; ++round) {
        std::uniform_int_distribution<int> place(round % 2 ? -12 : -3000, round % 2 ? 12 : 3000);
        const int x1 = place(random), y1 = place(random);
        const int x2 = round % 5 ? place(random) : x1, y2 = round % 7 ? place(random) : y1;
        Pixels drawn, expected;
        drawLine(&drawn, x1, y1, x2, y2, 0xABCDEF, 1.0f, 0, false);
        const int steps = std::max({std::abs(x2 - x1), std::abs(y2 - y1), 1});
        for (int i = 0; i <= steps; ++i) {
            // To the nearest, halves to the right and down.
            const double x = std::floor(x1 + i * double(x2 - x1) / steps + 0.5 + 1e-9);
            const double y = std::floor(y1 + i * double(y2 - y1) / steps + 0.5 + 1e-9);
            if (x >= 0 && y >= 0 && x < width && y < height)
                expected.all[static_cast<size_t>(y * span + x)] = 0xFFABCDEF;
        }
        ASSERT_EQ(drawn, expected) << x1 << "," << y1 << " to " << x2 << "," << y2;
    }
    drawLine(nullptr, 0, 0, 1, 1, 0, 1.0f, 0, false);
}

TEST(Drawing, RectanglesAreCutAtTheEdgesAndMixed) {
    Pixels drawn;
    fillRect(&drawn, -3, 4, 5, 100, 0xABCDEF, 1.0f, 0);
    fillRect(&drawn, 5, -1, 2147483647, 2, 0x60A0E0, 0.5f, 0);
    fillRect(&drawn, 3, 3, -1, 2, 0xABCDEF, 1.0f, 0);
    fillRect(&drawn, 3, 3, 1, 1, 0xABCDEF, std::nanf(""), 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < span; ++x) {
            const uint32_t pixel = drawn.all[static_cast<size_t>(y * span + x)];
            const bool isPlain = x < 2 && y >= 4, isMixed = x >= 5 && x < width && y == 0;
            EXPECT_EQ(pixel, isPlain ? 0xFFABCDEF : isMixed ? 0xFF4070A0 : below) << x << "," << y;
        }
}

} // namespace tonvale::workbench::test
