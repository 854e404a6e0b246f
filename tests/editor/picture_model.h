#pragma once

#include "convolution/containers/impulse_buffer.h"
#include "editor/level_colour.h"
#include "test_host/signals.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace tonvale::test {

constexpr uint32_t untouched = 0x12345678;

/// A picture in rows with room behind them, which nothing may write to.
struct Canvas {
    int32_t width, height, span = width + 5;
    std::vector<uint32_t> pixels =
        std::vector<uint32_t>(static_cast<size_t>(span * height), untouched);

    uint32_t &at(int32_t x, int32_t y) { return pixels[static_cast<size_t>(y * span + x)]; }
    void verticalLine(int32_t x, int32_t from, int32_t to, uint32_t colour) {
        const auto [low, high] = std::minmax(from, to);
        for (int32_t y = std::max(0, low); y <= std::min(height - 1, high); ++y)
            if (x >= 0 && x < width)
                at(x, y) = colour;
    }
};

inline void fillResponse(ImpulseBuffer &response, const Channels &channels) {
    response.setNumChannels(static_cast<int32_t>(channels.size()), false);
    response.setLength(static_cast<int32_t>(channels[0].size()));
    for (size_t c = 0; c < channels.size(); ++c)
        std::copy(channels[c].begin(), channels[c].end(),
                  response.getChannel(static_cast<int32_t>(c)));
}

/// The power of a bin of the folded stretch around a column, by the sum that defines it.
inline double binPower(const Samples &channel, int64_t points, int64_t width, int64_t x,
                       int64_t bin) {
    const auto n = static_cast<int64_t>(channel.size());
    const int64_t half = std::max<int64_t>(4, n / (2 * width) / 2 * 2), centre = x * n / width;
    const double turn = -2.0 * std::numbers::pi * static_cast<double>(bin) / double(points);
    std::complex<double> sum = 0.0;
    for (int64_t k = std::max<int64_t>(0, centre - half); k < std::min(n, centre + half); ++k) {
        const auto j = static_cast<double>(half - std::abs(k - centre));
        const auto window = static_cast<float>(0.5 - 0.5 * std::cos(j * 3.14159 / double(half)));
        sum += static_cast<double>(window) * channel[static_cast<size_t>(k)] *
               std::polar(1.0, turn * static_cast<double>(k % points));
    }
    return std::norm(sum) * double(points) * 0.25 / double(half);
}

/// The picture of a response without its text and delay line.
inline Canvas modelPicture(const Channels &channels, int32_t width, int32_t height) {
    Canvas canvas{width, height};
    const auto count = static_cast<int32_t>(channels.size());
    const auto length = static_cast<int32_t>(channels[0].size());
    const int32_t bins = length < 2048 ? 16 : 32;
    const double step = static_cast<double>(width) / length;
    for (int32_t c = 0; c < 2 * count; ++c) {
        const Samples &samples = channels[static_cast<size_t>(c % count)];
        const int32_t top = c % count * height / count;
        const int32_t last = (c % count + 1) * height / count - 1;
        // First all spectra, then all waveforms over them.
        for (int32_t x = 0; x < width && c < count; ++x) {
            double position = 0.0, power = 0.0;
            for (int32_t y = top, bin = 0; y < last; ++y, position += double(bins) / (last - top)) {
                if (bin < static_cast<int32_t>(position))
                    power = 0.0;
                for (; bin < static_cast<int32_t>(position); ++bin)
                    power = std::max(power, binPower(samples, 2 * bins, width, x, bins - bin));
                canvas.at(x, y) = levelColour(power);
            }
        }
        const auto row = [&](double value) {
            return static_cast<int32_t>(value * ((top - last) * 0.5) + (top + last) * 0.5);
        };
        double low = 1.0, high = -1.0, position = 0.0;
        for (int32_t i = 0, column = 0; i < length && c >= count; ++i) {
            const double sample = samples[static_cast<size_t>(i)];
            low = std::min(low, sample), high = std::max(high, sample), position += step;
            if (width > length) {
                canvas.verticalLine(static_cast<int32_t>(i * step), row(0.0), row(sample),
                                    0xFFFFFF);
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
