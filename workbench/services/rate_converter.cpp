#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <cmath>

namespace tonvale::workbench {

namespace {

constexpr double largestRatio = 1000.0;

/// Frames that one pull makes room for.
constexpr size_t pullFrames = 1024;

constexpr unsigned long recipes[] = {SOXR_QQ, SOXR_LQ, SOXR_MQ, SOXR_HQ, SOXR_VHQ};

} // namespace

void FrameQueue::clear(int channelCount) {
    channels = static_cast<size_t>(std::max(channelCount, 1));
    start = end = 0;
}

size_t FrameQueue::frames() const {
    return (end - start) / channels;
}

double *FrameQueue::grow(size_t count) {
    if (start > 0) {
        std::move(samples.begin() + static_cast<std::ptrdiff_t>(start),
                  samples.begin() + static_cast<std::ptrdiff_t>(end), samples.begin());
        end -= start;
        start = 0;
    }
    if (samples.size() < end + count * channels)
        samples.resize(end + count * channels);
    return samples.data() + end;
}

void FrameQueue::keep(size_t count) {
    end += count * channels;
}

size_t FrameQueue::take(double *out, size_t count) {
    const size_t taken = std::min(count, frames());
    if (out)
        std::copy_n(samples.data() + start, taken * channels, out);
    start += taken * channels;
    return taken;
}

bool isConvertible(double inRate, double outRate) {
    if (!std::isfinite(inRate) || !std::isfinite(outRate) || inRate <= 0.0 || outRate <= 0.0)
        return false;
    const double ratio = outRate / inRate;
    return ratio >= 1.0 / largestRatio && ratio <= largestRatio;
}

RateConverter::~RateConverter() {
    stop();
}

void RateConverter::stop() {
    soxr_delete(stream);
    stream = nullptr;
}

bool RateConverter::start(double inRate, double outRate, int channels, ConversionQuality quality) {
    stop();
    if (!isConvertible(inRate, outRate) || channels < 1 || channels > mostMediaChannels)
        return false;
    const auto format = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const auto recipe =
        soxr_quality_spec(recipes[static_cast<size_t>(quality)], SOXR_HI_PREC_CLOCK);
    // Small transforms hold the least input back.
    auto runtime = soxr_runtime_spec(1);
    runtime.log2_min_dft_size = runtime.log2_large_dft_size = 8;
    soxr_error_t error = nullptr;
    stream = soxr_create(inRate, outRate, static_cast<unsigned>(channels), &error, &format, &recipe,
                         &runtime);
    if (error)
        stop();
    channelCount = static_cast<size_t>(channels);
    return stream != nullptr;
}

size_t RateConverter::pull(const double *in, size_t frames, size_t &consumed, FrameQueue &out) {
    size_t made = 0;
    if (soxr_process(stream, in, frames, &consumed, out.grow(pullFrames), pullFrames, &made)) {
        consumed = frames;
        return 0;
    }
    out.keep(made);
    return made;
}

void RateConverter::push(const double *in, size_t frames, FrameQueue &out) {
    if (!stream)
        return;
    size_t left = frames;
    for (;;) {
        size_t consumed = 0;
        const size_t made = pull(in, left, consumed, out);
        in += consumed * channelCount;
        left -= consumed;
        if (made == 0 && (left == 0 || consumed == 0))
            return;
    }
}

void RateConverter::finish(FrameQueue &out) {
    if (!stream)
        return;
    size_t consumed = 0;
    while (pull(nullptr, 0, consumed, out) > 0) {
    }
    stop();
}

} // namespace tonvale::workbench
