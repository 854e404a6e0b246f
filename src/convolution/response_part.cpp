#include "convolution/response_part.h"

#include "host/host_functions.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tonvale {

namespace {

/// A sample of the response that doesn't exceed this is never multiplied.
constexpr double audibleResponse = 1e-15;

/// What a convolution keeps of a response sample that is scaled down by `scale`: nothing of
/// infinities, NaNs and what would be below 2^-54.
double keptOf(double sample, double scale) {
    const double scaled = sample * scale;
    return std::fabs(scaled) >= 0x1p-54 && std::isfinite(scaled) ? scaled : 0.0;
}

} // namespace

int32_t ResponseSource::length(int32_t channel) const {
    const int32_t available = std::max(impulse.getChannelLength(channel) - offset, 0);
    return limit > 0 ? std::min(available, limit) : available;
}

int32_t ResponseSource::longest() const {
    int32_t most = 0;
    for (int32_t i = 0; i < distinct; ++i)
        most = std::max(most, length(i));
    return most;
}

int32_t ResponseSource::audibleLength() const {
    int32_t most = 0;
    for (int32_t i = 0; i < distinct; ++i) {
        int32_t own = length(i);
        while (own > most && !(std::fabs(samples(i)[own - 1]) > audibleResponse))
            --own;
        most = std::max(most, own);
    }
    return most;
}

bool ResponsePart::load(const ResponseSource &source, int32_t first, int32_t length, int32_t chunk,
                        bool isAlone, int32_t spare) {
    alone = isAlone;
    distinct = source.distinct;
    transformPoints = alone ? chunk : 2 * chunk;
    pieceCount = length / chunk + (length % chunk > 0 ? 1 : 0);
    stored = pieceCount + spare;
    if (!order.prepare(transformPoints, alone))
        return false;
    const int64_t spectrum = int64_t{layout().groups} * groupSize;
    const int32_t planeCount = alone ? 2 * distinct : distinct;
    planeSize = spectrum * stored;
    newestSize = spare >= turnsAPass ? spectrum * turnsAPass : 0;
    AlignedBlock<double> points;
    if (!planes.allocate(planeSize * planeCount) ||
        !newestPlanes.allocate(newestSize * planeCount) ||
        !points.allocate(2 * int64_t{transformPoints}))
        return false;

    for (int32_t channel = 0; channel < distinct; channel += alone ? 1 : 2) {
        for (int32_t piece = 0; piece < pieceCount; ++piece) {
            const int32_t count = std::min(chunk, length - piece * chunk);
            loadPiece(source, first + piece * chunk, count, chunk, channel, piece, points.get());
        }
    }
    for (int64_t i = 0; i < newestSize * planeCount; ++i) {
        const int64_t in = i % newestSize;
        const int64_t piece = in / spectrum, group = in % spectrum / groupSize;
        newestPlanes.get()[i] = planes.get()[i / newestSize * planeSize +
                                             (group * stored + piece) * groupSize + i % groupSize];
    }
    return true;
}

void ResponsePart::loadPiece(const ResponseSource &source, int32_t first, int32_t count,
                             int32_t chunk, int32_t channel, int32_t piece, double *points) {
    std::fill_n(points, 2 * int64_t{transformPoints}, 0.0);
    const int32_t width = alone ? 1 : 2;
    // A transform and its inverse scale by the points, taking a spectrum apart by 2, that of the
    // input too. The power of two in between has no part in what is kept.
    const double scale = 0.5 / chunk;
    const double rest = 0.25 / transformPoints / scale;
    for (int32_t c = 0; c < width && channel + c < distinct; ++c) {
        const int32_t own = std::clamp(source.length(channel + c) - first, 0, count);
        for (int32_t i = 0; i < own; ++i)
            points[width * i + c] = keptOf(source.samples(channel + c)[first + i], scale) * rest;
    }
    hostFunctions.ZUB_fft_8(points, transformPoints, 0);
    const int64_t at = int64_t{piece} * groupSize;
    float *plane0 = planes.get() + planeSize * (alone ? 2 * channel : channel) + at;
    const bool hasSecond = alone || channel + 1 < distinct;
    convolutionKernels().spectrum.separateResponse(
        layout(), points, plane0, hasSecond ? plane0 + planeSize : nullptr, groupSize * stored);
}

int32_t ResponsePart::plane(int32_t left, int32_t right, int32_t which) const {
    if (alone)
        return 2 * (left % distinct) + which;
    return (which == 0 ? left : right) % distinct;
}

const float *ResponsePart::spectra(int32_t left, int32_t right, int32_t which) const {
    return planes.get() + planeSize * plane(left, right, which);
}

const float *ResponsePart::newestSpectra(int32_t left, int32_t right, int32_t which) const {
    return newestPlanes.get() + newestSize * plane(left, right, which);
}

} // namespace tonvale
