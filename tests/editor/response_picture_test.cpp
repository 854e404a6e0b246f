#include "editor/level_colour.h"
#include "editor/picture_model.h"
#include "editor/response_picture.h"
#include "test_host/test_host.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <tuple>

namespace tonvale::test {

namespace {

Canvas paint(const ImpulseBuffer &response, int32_t width, int32_t height, int32_t delay) {
    Canvas canvas{width, height};
    SpectrumScratch scratch;
    const DrawLine line = [&](int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t colour) {
        EXPECT_EQ(x1, x2);
        for (const int32_t end : {x1, y1, y2})
            EXPECT_LE(std::abs(end), 1 << 20);
        canvas.verticalLine(x1, y1, y2, colour);
    };
    drawSpectra(response, {canvas.pixels.data(), width, height, canvas.span}, scratch);
    drawWaveforms(response, width, height, line);
    drawDelayLine(response, delay, width, height, line);
    for (int32_t i = 0; i < height * canvas.span; ++i)
        EXPECT_TRUE(i % canvas.span < width || canvas.at(i, 0) == untouched);
    return canvas;
}

/// Samples, channels, width, height, delay.
using Shape = std::tuple<size_t, size_t, int32_t, int32_t, int32_t>;

class ResponsePicture : public testing::TestWithParam<Shape> {
  protected:
    static void SetUpTestSuite() { loadTestHost(); }
};

} // namespace

TEST(LevelColour, RunsStraightThroughEachSegmentAndHoldsItsEnds) {
    struct Ends {
        int low, high;
        uint32_t lowColour, highColour;
    };
    constexpr Ends segments[] = {
        {-600, -168, 0x00000000, 0x00000000}, {-167, -144, 0xFF000004, 0xFF00006D},
        {-143, -120, 0xFF00046E, 0xFF006D6E}, {-119, -96, 0xFF00706A, 0xFF00A401},
        {-95, -72, 0xFF09A500, 0xFFDBA500},   {-71, -48, 0xFFDC6A00, 0xFFDC0100},
        {-47, -24, 0xFFDC0009, 0xFFDC00DB},   {-23, 0, 0xFFDC09DC, 0xFFDCDBDC},
        {1, 4900, 0xFFDCDCDC, 0xFFDCDCDC},
    };
    for (const Ends &segment : segments)
        for (int level = segment.low; level <= segment.high; ++level) {
            // In the middle of what is truncated to this level.
            const double exact = level + (level < 0 ? -0.5 : level > 0 ? 0.5 : 0.0);
            const uint32_t colour = levelColour(std::exp(exact / 7.0));
            for (int shift = 0; shift < 32; shift += 8) {
                const double from = segment.lowColour >> shift & 0xFF;
                const double to = segment.highColour >> shift & 0xFF;
                const double part =
                    static_cast<double>(level - segment.low) / (segment.high - segment.low);
                const bool isEnd = level == segment.low || level == segment.high;
                EXPECT_NEAR(colour >> shift & 0xFF, from + (to - from) * part, isEnd ? 0.0 : 1.0)
                    << level;
            }
        }
    EXPECT_EQ(levelColour(std::numeric_limits<double>::infinity()), 0xFFDCDCDC);
    EXPECT_EQ(levelColour(std::numeric_limits<double>::quiet_NaN()), 0u);
}

TEST_P(ResponsePicture, EqualsThatOfTheDefiningSums) {
    const auto [length, count, width, height, delay] = GetParam();
    Channels channels;
    for (uint32_t c = 0; c < count; ++c) {
        channels.push_back(roomNoise(length, 7 + c));
        // Some samples beyond full scale, which leave their band.
        for (size_t i = 0; i < length; i += 97)
            channels.back()[i] *= 3.0;
    }
    ImpulseBuffer response;
    fillResponse(response, channels);
    Canvas painted = paint(response, width, height, delay);
    Canvas expected = modelPicture(channels, width, height);
    if (const int32_t x = width * delay / static_cast<int32_t>(length))
        expected.verticalLine(x, 0, height, 0xFFFF00);
    EXPECT_TRUE(painted.pixels == expected.pixels);
}

// Both transforms and their border; more samples than columns and fewer; more rows than bins and
// fewer; bands of one row and of none; a delay inside, at once and beyond the end.
INSTANTIATE_TEST_SUITE_P(Shapes, ResponsePicture,
                         testing::Values(Shape{2047, 2, 150, 120, 500}, Shape{2048, 2, 150, 121, 0},
                                         Shape{90000, 1, 333, 61, 80000},
                                         Shape{20011, 3, 200, 40, 3}, Shape{37, 2, 101, 83, 40},
                                         Shape{101, 1, 101, 50, 7}, Shape{4000, 5, 64, 10, 100},
                                         Shape{4000, 5, 64, 4, 100}, Shape{300, 1, 1, 9, 100}));

TEST_F(ResponsePicture, BearsWhatIsNoSample) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double oddities[] = {std::nan(""), infinity, -infinity, 1e308, -1e308, 5e-324};
    for (const size_t length : {size_t{1}, size_t{30}, size_t{5000}}) {
        Channels channels(2, noise(length, 3));
        for (size_t i = 0; i < length; i += 3)
            channels[i % 2][i] = oddities[i % 6];
        ImpulseBuffer response;
        fillResponse(response, channels);
        paint(response, 120, 64, std::numeric_limits<int32_t>::max());
    }
}

TEST_F(ResponsePicture, IsTransparentWithoutMemoryForTheWindow) {
    ImpulseBuffer response;
    fillResponse(response, {roomNoise(5000, 1)});
    SpectrumScratch scratch;
    for (const bool hasMemory : {false, true}) {
        Canvas canvas{50, 30};
        AllocationLimit limit(hasMemory ? 100 : 0);
        drawSpectra(response, {canvas.pixels.data(), 50, 30, canvas.span}, scratch);
        EXPECT_EQ(canvas.at(25, 20) != 0, hasMemory);
        EXPECT_EQ(canvas.at(25, 29), untouched);
    }
}

} // namespace tonvale::test
