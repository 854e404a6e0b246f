#include "core/width_mix.h"

#include <algorithm>
#include <utility>

namespace tonvale {

namespace {

/// Engines see left * a + right * (1 - a), and the other way round, with `a` moving from `from` by
/// `step` a sample.
void mixPair(const double *left, const double *right, double *outLeft, double *outRight,
             int32_t frames, double from, double step) {
    for (int32_t i = 0; i < frames; ++i) {
        const double a = from + step * i;
        const double l = left ? left[i] : 0.0;
        const double r = right ? right[i] : 0.0;
        outLeft[i] = l * a + r * (1.0 - a);
        outRight[i] = r * a + l * (1.0 - a);
    }
}

} // namespace

void WidthMix::apply(const double **fed, int32_t frames, int32_t channels, double width) {
    const int32_t paired = channels & ~1;
    if (width <= -1.0 && lastWidth <= -1.0 && paired > 0) {
        for (int32_t c = 0; c < paired; c += 2)
            std::swap(fed[c], fed[c + 1]);
        return;
    }
    const bool untouched = channels == 1 || (width >= 1.0 && lastWidth >= 1.0);
    if (untouched || frames < 1)
        return;

    const int64_t needed = int64_t{paired} * frames;
    if (needed > SampleBuffer::maxCount)
        return;
    widthScratch.resize(static_cast<int32_t>(needed), false);
    if (widthScratch.getSize() != needed)
        return;
    const double to = std::clamp(width * 0.5 + 0.5, 0.0, 1.0);
    const double from = std::clamp(lastWidth * 0.5 + 0.5, 0.0, 1.0);
    const double step = (to - from) / frames;
    lastWidth = width;
    for (int32_t c = 0; c < paired; c += 2) {
        double *left = widthScratch.get() + int64_t{c} * frames;
        double *right = left + frames;
        mixPair(fed[c], fed[c + 1], left, right, frames, from, step);
        fed[c] = left;
        fed[c + 1] = right;
    }
}

} // namespace tonvale
