#include "editor/level_colour.h"
#include "editor/response_picture.h"
#include "host/host_functions.h"
#include "test_host/effect_driver.h"
#include "test_host/test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <tuple>

namespace tonvale::test {

namespace {

constexpr uint32_t untouched = 0x12345678;

/// Fills `response` with channels of equal length.
void fill(ImpulseBuffer &response, const Channels &channels) {
    response.setNumChannels(static_cast<int32_t>(channels.size()), false);
    ASSERT_EQ(response.setLength(static_cast<int32_t>(channels[0].size())),
              static_cast<int32_t>(channels[0].size()));
    for (size_t c = 0; c < channels.size(); ++c)
        std::copy(channels[c].begin(), channels[c].end(),
                  response.getChannel(static_cast<int32_t>(c)));
}

/// A picture in rows with room behind them, which nothing may write to.
struct Canvas {
    static constexpr int32_t margin = 5;
    int32_t width, height, span = width + margin;
    std::vector<uint32_t> pixels =
        std::vector<uint32_t>(static_cast<size_t>(span * height), untouched);

    uint32_t &at(int32_t x, int32_t y) { return pixels[static_cast<size_t>(y * span + x)]; }
    void verticalLine(int32_t x, int32_t from, int32_t to, uint32_t colour) {
        if (x < 0 || x >= width)
            return;
        for (int32_t y = std::max(0, std::min(from, to));
             y <= std::min(height - 1, std::max(from, to)); ++y)
            at(x, y) = colour;
    }
};

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
    return canvas;
}

/// The power of the bin that is `fromTop` below the highest of the folded stretch around a column,
/// by the sum that defines it.
double binPower(const std::vector<double> &channel, int32_t width, int32_t x, size_t fromTop) {
    const auto n = static_cast<int64_t>(channel.size());
    const size_t points = n < 2048 ? 32 : 64;
    const int64_t half = std::max<int64_t>(4, n / (2 * width) / 2 * 2);
    const int64_t centre = x * n / width;
    std::complex<double> sum = 0.0;
    for (int64_t k = std::max<int64_t>(0, centre - half); k < std::min(n, centre + half); ++k) {
        const int64_t j = k < centre ? k - centre + half : centre + half - k;
        const auto window = static_cast<float>(
            0.5 - 0.5 * std::cos(static_cast<double>(j) * 3.14159 / static_cast<double>(half)));
        const double turn = 2.0 * std::numbers::pi * static_cast<double>(points / 2 - fromTop) *
                            static_cast<double>(static_cast<size_t>(k) % points) /
                            static_cast<double>(points);
        sum +=
            static_cast<double>(window) * channel[static_cast<size_t>(k)] * std::polar(1.0, -turn);
    }
    return std::norm(sum) * static_cast<double>(points) * 0.25 / static_cast<double>(half);
}

Canvas modelPicture(const Channels &channels, int32_t width, int32_t height, int32_t delay) {
    Canvas canvas{width, height};
    const auto count = static_cast<int32_t>(channels.size());
    const auto length = static_cast<int32_t>(channels[0].size());
    const auto bins = static_cast<size_t>(length < 2048 ? 16 : 32);
    for (int32_t c = 0; c < count; ++c) {
        const int32_t top = c * height / count, last = (c + 1) * height / count - 1;
        for (int32_t x = 0; x < width && last > top; ++x) {
            size_t bin = 0;
            double position = 0.0, power = 0.0;
            for (int32_t y = top; y < last; ++y) {
                if (bin < static_cast<size_t>(position))
                    for (power = 0.0; bin < static_cast<size_t>(position); ++bin)
                        power = std::max(power,
                                         binPower(channels[static_cast<size_t>(c)], width, x, bin));
                canvas.at(x, y) = levelColour(power);
                position += static_cast<double>(bins) / (last - top);
            }
        }
    }
    for (int32_t c = 0; c < count; ++c) {
        const auto &samples = channels[static_cast<size_t>(c)];
        const int32_t top = c * height / count, last = (c + 1) * height / count - 1;
        const auto row = [&](double value) {
            return static_cast<int32_t>(value * ((top - last) * 0.5) + (top + last) * 0.5);
        };
        double low = 1.0, high = -1.0, position = 0.0;
        int32_t column = 0;
        for (size_t i = 0; i < samples.size(); ++i) {
            const double step = static_cast<double>(width) / length;
            low = std::min(low, samples[i]);
            high = std::max(high, samples[i]);
            position += step;
            if (width > length) {
                canvas.verticalLine(static_cast<int32_t>(static_cast<double>(i) * step), row(0.0),
                                    row(samples[i]), 0xFFFFFF);
            } else if (static_cast<int32_t>(position) != column) {
                column = static_cast<int32_t>(position);
                canvas.verticalLine(column, row(low), row(high), 0xFFFFFF);
                low = 1.0, high = -1.0;
            }
        }
    }
    if (const int32_t x = width * delay / length)
        canvas.verticalLine(x, 0, height, 0xFFFF00);
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
    fill(response, channels);
    Canvas painted = paint(response, width, height, delay);
    Canvas expected = modelPicture(channels, width, height, delay);
    int64_t wrong = 0;
    for (size_t i = 0; i < painted.pixels.size(); ++i)
        wrong += painted.pixels[i] != expected.pixels[i];
    EXPECT_EQ(wrong, 0) << "of " << painted.pixels.size() << " pixels";
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
        fill(response, channels);
        Canvas canvas = paint(response, 120, 64, std::numeric_limits<int32_t>::max());
        for (int32_t y = 0; y < canvas.height; ++y)
            for (int32_t x = canvas.width; x < canvas.span; ++x)
                ASSERT_EQ(canvas.at(x, y), untouched);
    }
    ImpulseBuffer empty;
    empty.setNumChannels(1, false);
    EXPECT_EQ(paint(empty, 40, 20, 0).at(39, 18), 0u);
    EXPECT_EQ(shownLength(empty), 1);
    EXPECT_EQ(responsePeak(empty), 0.0);
}

TEST_F(ResponsePicture, IsTransparentWithoutMemoryForTheWindow) {
    ImpulseBuffer response;
    fill(response, {roomNoise(5000, 1)});
    Canvas canvas{50, 30};
    SpectrumScratch scratch;
    {
        AllocationLimit limit(0);
        drawSpectra(response, {canvas.pixels.data(), 50, 30, canvas.span}, scratch);
        EXPECT_GT(limit.refused(), 0);
    }
    EXPECT_EQ(canvas.at(25, 20), 0u);
    EXPECT_EQ(canvas.at(25, 29), untouched);
    drawSpectra(response, {canvas.pixels.data(), 50, 30, canvas.span}, scratch);
    EXPECT_NE(canvas.at(25, 20), 0u);
}

} // namespace tonvale::test
