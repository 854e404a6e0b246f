#include "workbench/services/drawing.h"

#include <algorithm>
#include <cstdlib>

namespace tonvale::workbench {

namespace {

constexpr uint32_t opaque = 0xFF000000;

/// The pixels of a bitmap and what is to be written to them.
struct Brush {
    uint32_t *pixels;
    int64_t width;
    int64_t height;
    int64_t rowSpan;
    uint32_t colour;
    uint32_t weight; ///< of the colour, out of 256

    Brush(HostBitmap &bitmap, uint32_t newColour, float alpha)
        : pixels(bitmap.pixels())
        , width(pixels ? bitmap.width() : 0)
        , height(bitmap.height())
        , rowSpan(bitmap.rowSpan())
        , colour(newColour | opaque)
        // The negation also holds for a NaN.
        , weight(!(alpha > 0.0f) ? 0 : static_cast<uint32_t>(std::min(alpha, 1.0f) * 256.0f)) {}

    uint32_t mixed(uint32_t below) const {
        if (weight == 256)
            return colour;
        uint32_t out = opaque;
        for (int shift = 0; shift < 24; shift += 8) {
            const uint32_t from = below >> shift & 0xFF, to = colour >> shift & 0xFF;
            out |= (from * (256 - weight) + to * weight) / 256 << shift;
        }
        return out;
    }

    void dot(int64_t x, int64_t y) const {
        uint32_t &pixel = pixels[y * rowSpan + x];
        pixel = mixed(pixel);
    }
};

} // namespace

void fillRect(HostBitmap *bitmap, int x, int y, int w, int h, uint32_t colour, float alpha, int) {
    if (!bitmap)
        return;
    const Brush brush(*bitmap, colour, alpha);
    const int64_t left = std::max<int64_t>(x, 0), top = std::max<int64_t>(y, 0);
    const int64_t right = std::min(int64_t{x} + w, brush.width);
    const int64_t bottom = std::min(int64_t{y} + h, brush.height);
    for (int64_t row = top; row < bottom; ++row)
        for (int64_t column = left; column < right; ++column)
            brush.dot(column, row);
}

void drawLine(HostBitmap *bitmap, int x1, int y1, int x2, int y2, uint32_t colour, float alpha, int,
              bool) {
    if (!bitmap)
        return;
    const Brush brush(*bitmap, colour, alpha);
    int64_t width = int64_t{x2} - x1, height = int64_t{y2} - y1;
    const bool isSteep = std::abs(height) > std::abs(width);
    // Seen along the longer direction, and forwards in it.
    int64_t along = isSteep ? y1 : x1, across = isSteep ? x1 : y1;
    if (isSteep)
        std::swap(width, height);
    if (width < 0) {
        along += width;
        across += height;
        width = -width;
        height = -height;
    }
    const int64_t limit = isSteep ? brush.height : brush.width;
    const int64_t acrossLimit = isSteep ? brush.width : brush.height;
    const int64_t last = std::min(width, limit - 1 - along);
    for (int64_t i = std::max<int64_t>(0, -along); i <= last; ++i) {
        // To the nearest, halves upwards: floor((2 i height + width) / (2 width)).
        const int64_t twice = 2 * i * height + width, whole = 2 * std::max<int64_t>(width, 1);
        const int64_t offset = twice / whole - (twice % whole < 0 ? 1 : 0);
        const int64_t there = across + offset;
        if (there >= 0 && there < acrossLimit)
            isSteep ? brush.dot(there, along + i) : brush.dot(along + i, there);
    }
}

} // namespace tonvale::workbench
