#pragma once

#include "convolution/containers/impulse_buffer.h"
#include "test_host/signals.h"

#include <algorithm>
#include <vector>

namespace tonvale::test {

constexpr uint32_t untouched = 0x12345678;

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

/// Fills `response` with channels of equal length.
void fillResponse(ImpulseBuffer &response, const Channels &channels);

/// The picture of a response without its text and delay line, by the sums that define it.
Canvas modelPicture(const Channels &channels, int32_t width, int32_t height);

} // namespace tonvale::test
