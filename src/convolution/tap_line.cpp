#include "convolution/tap_line.h"

#include "convolution/kernels/convolution_kernels.h"

#include <algorithm>

namespace tonvale {

bool TapLine::prepare(const float *left, const float *right, int32_t count, int32_t frameWidth,
                      int32_t pieceFrames) {
    tapCount = count;
    width = frameWidth;
    room = pieceFrames;
    stillHeard = 0;
    constexpr int32_t lanes = 4;
    if (!taps.allocate(int64_t{lanes} * count) ||
        !line.allocate((int64_t{count} + pieceFrames) * width))
        return false;
    for (int32_t j = 0; j < count; ++j) {
        for (int32_t lane = 0; lane < lanes; ++lane)
            taps.get()[lanes * j + lane] = width == 2 && lane % 2 == 1 ? right[j] : left[j];
    }
    return true;
}

void TapLine::play(const double *input, int32_t count, SumRing &sums) {
    if (tapCount < 1 || (!input && stillHeard < 1))
        return;
    const int32_t past = tapCount - 1;
    // Silence is heard no longer than the taps reach back.
    const int32_t heard = input ? count : std::min(count, stillHeard);
    double *block = line.get() + int64_t{past} * width;
    for (int32_t begun = 0, piece = 0; begun < heard; begun += piece) {
        piece = std::min(heard - begun, room);
        if (input)
            std::copy_n(input + int64_t{begun} * width, int64_t{piece} * width, block);
        else
            std::fill_n(block, int64_t{piece} * width, 0.0);
        for (int32_t done = 0, part = 0; done < piece; done += part) {
            double *place = sums.frame(begun + done, piece - done, part);
            convolutionKernels().sample.convolve(
                taps.get(), tapCount, width, block + int64_t{done} * width, place, part * width);
        }
        std::copy_n(line.get() + int64_t{piece} * width, int64_t{past} * width, line.get());
    }
    stillHeard = input ? past : stillHeard - heard;
}

void TapLine::reset() {
    if (tapCount > 0)
        std::fill_n(line.get(), int64_t{tapCount - 1} * width, 0.0);
    stillHeard = 0;
}

} // namespace tonvale
