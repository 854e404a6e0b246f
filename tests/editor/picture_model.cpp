#include "editor/picture_model.h"

#include "editor/level_colour.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace tonvale::test {

namespace {

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

} // namespace

void fillResponse(ImpulseBuffer &response, const Channels &channels) {
    response.setNumChannels(static_cast<int32_t>(channels.size()), false);
    ASSERT_EQ(response.setLength(static_cast<int32_t>(channels[0].size())),
              static_cast<int32_t>(channels[0].size()));
    for (size_t c = 0; c < channels.size(); ++c)
        std::copy(channels[c].begin(), channels[c].end(),
                  response.getChannel(static_cast<int32_t>(c)));
}

Canvas modelPicture(const Channels &channels, int32_t width, int32_t height) {
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
    return canvas;
}

} // namespace tonvale::test
