#include "chain/reverb_core.h"

#include "convolution/containers/bounded_integer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tonvale {

namespace {

// Lengths of the left lines at 44100 Hz.
constexpr int32_t combLengths[] = {1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617, 1685, 1748};
constexpr int32_t allPassLengths[] = {556, 441, 341, 225, 180, 153};
constexpr int32_t rightExtra = 23;
constexpr double designRate = 44100.0;

constexpr double inputGain = 0.015;
constexpr double dampScale = 0.4;
constexpr double allPassFeedback = 0.5;
constexpr int32_t blockFrames = 512;

/// Denormal numbers would slow the recursion down a hundredfold.
double withoutDenormals(double value) {
    return std::abs(value) < std::numeric_limits<double>::min() ? 0.0 : value;
}

template <class Line, size_t count>
bool setLengths(std::array<Line, 2 * count> &lines, const int32_t (&lengths)[count], double scale) {
    for (size_t i = 0; i < lines.size(); ++i) {
        const int32_t length = lengths[i / 2] + (i % 2 != 0 ? rightExtra : 0);
        if (!lines[i].setLength(boundedInteger(length * scale, 1, ReverbCore::maxLineLength)))
            return false;
    }
    return true;
}

} // namespace

bool ReverbCore::DelayLine::setLength(int32_t length) {
    if (buffer.getSize() == length)
        return true;
    buffer.resize(length, true);
    if (buffer.getSize() != length)
        return false;
    std::fill_n(buffer.get(), length, 0.0);
    index = 0;
    return true;
}

bool ReverbCore::prepare() {
    const double scale = sampleRate / designRate;
    return setLengths(allPass, allPassLengths, scale) && setLengths(comb, combLengths, scale);
}

void ReverbCore::CombLine::addOutput(double click, double feedback, double damping, double *sum,
                                     int32_t frames) {
    double *line = buffer.get();
    const int32_t length = buffer.getSize();
    double input = click * inputGain;
    for (int32_t i = 0; i < frames; ++i) {
        const double out = line[index];
        filterStore = withoutDenormals((1.0 - damping) * out + filterStore * damping);
        line[index] = filterStore * feedback + input;
        input = 0.0;
        if (++index >= length)
            index = 0;
        sum[i] += out;
    }
}

void ReverbCore::AllPassLine::process(double *signal, int32_t frames) {
    double *line = buffer.get();
    const int32_t length = buffer.getSize();
    for (int32_t i = 0; i < frames; ++i) {
        const double x = signal[i];
        const double delayed = line[index];
        line[index] = withoutDenormals(x + delayed * allPassFeedback);
        if (++index >= length)
            index = 0;
        signal[i] = delayed - x;
    }
}

void ReverbCore::run(double click, double *left, double *right, int32_t frames) {
    // At full width a side keeps to itself, at none it is half of each; below, they change places.
    const double half = std::max(-1.0, std::min(1.0, width)) * 0.5;
    const double own = std::abs(half) + 0.5;
    const double other = 1.0 - own;

    double sides[2][blockFrames];
    for (int32_t done = 0; done < frames;) {
        const int32_t count = std::min(blockFrames, frames - done);

        for (double *side : sides)
            std::fill_n(side, count, 0.0);
        for (size_t i = 0; i < comb.size(); ++i)
            comb[i].addOutput(click, roomSize, damp * dampScale, sides[i % 2], count);
        for (size_t i = 0; i < allPass.size(); ++i)
            allPass[i].process(sides[i % 2], count);
        click = 0.0;

        const double *toLeft = sides[half < 0.0 ? 1 : 0];
        const double *toRight = sides[half < 0.0 ? 0 : 1];
        for (int32_t i = 0; i < count; ++i)
            left[done + i] += toLeft[i] * own + toRight[i] * other;
        for (int32_t i = 0; right && i < count; ++i)
            right[done + i] += toRight[i] * own + toLeft[i] * other;
        done += count;
    }
}

} // namespace tonvale
