#include "convolution/sum_ring.h"

#include "convolution/kernels/convolution_kernels.h"

#include <algorithm>
#include <bit>

namespace tonvale {

bool SumRing::prepare(int32_t reach, int32_t frameWidth) {
    width = frameWidth;
    length = static_cast<int64_t>(std::bit_ceil(static_cast<uint64_t>(std::max(reach, 1))));
    present = taken = 0;
    return sums.allocate(length * width);
}

double *SumRing::frame(int64_t first, int32_t count, int32_t &inOnePiece) const {
    const int64_t at = (present + first) & (length - 1);
    inOnePiece = static_cast<int32_t>(std::min<int64_t>(count, length - at));
    return sums.get() + at * width;
}

void SumRing::add(int64_t first, const double *frames, int32_t count) {
    for (int32_t done = 0, piece = 0; done < count; done += piece) {
        double *place = frame(first + done, count - done, piece);
        convolutionKernels().sample.add(place, frames + int64_t{done} * width, piece * width);
    }
}

void SumRing::take(int32_t count, double *left, double *right) {
    for (int32_t done = 0, piece = 0; done < count; done += piece) {
        double *place = frame(taken + done - present, count - done, piece);
        if (width == 2)
            convolutionKernels().sample.separate(place, left ? left + done : nullptr,
                                                 right ? right + done : nullptr, piece);
        else if (left)
            std::copy_n(place, piece, left + done);
        std::fill_n(place, int64_t{piece} * width, 0.0);
    }
    taken += count;
}

void SumRing::clear() {
    std::fill_n(sums.get(), length * width, 0.0);
    present = taken = 0;
}

} // namespace tonvale
