#include "workbench/services/media.h"
#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <cmath>
#include <soxr.h>

namespace tonvale::workbench {

namespace {

constexpr double largestRatio = 1000.0;

/// Frames that one pull makes room for.
constexpr size_t pullFrames = 1024;

/// soxr at its finest, in doubles throughout.
class FineConverter final : public RateConverter {
  public:
    FineConverter(double inRate, double outRate, int channels)
        : channelCount(static_cast<size_t>(channels))
        , held(2048.0 * std::max(1.0, inRate / outRate)) {
        const auto format = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
        const auto recipe = soxr_quality_spec(SOXR_VHQ, SOXR_HI_PREC_CLOCK);
        soxr_error_t error = nullptr;
        stream.reset(soxr_create(inRate, outRate, static_cast<unsigned>(channels), &error, &format,
                                 &recipe, nullptr));
        if (error)
            stream.reset();
    }

    bool isReady() const { return stream != nullptr; }

    void push(const double *in, size_t frames, FrameQueue &out) override {
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

    void finish(FrameQueue &out) override {
        size_t consumed = 0;
        while (pull(nullptr, 0, consumed, out) > 0) {
        }
    }

    double heldBack() const override { return held; }

  private:
    size_t pull(const double *in, size_t frames, size_t &consumed, FrameQueue &out) {
        size_t made = 0;
        if (soxr_process(stream.get(), in, frames, &consumed, out.grow(pullFrames), pullFrames,
                         &made)) {
            consumed = frames;
            return 0;
        }
        out.keep(made);
        return made;
    }

    struct Delete {
        void operator()(soxr_t ended) const { soxr_delete(ended); }
    };

    std::unique_ptr<soxr, Delete> stream;
    size_t channelCount;
    double held;
};

} // namespace

bool isConvertible(double inRate, double outRate) {
    if (!std::isfinite(inRate) || !std::isfinite(outRate) || inRate <= 0.0 || outRate <= 0.0)
        return false;
    const double ratio = outRate / inRate;
    return ratio >= 1.0 / largestRatio && ratio <= largestRatio;
}

std::unique_ptr<RateConverter> createFineConverter(double inRate, double outRate, int channels) {
    if (!isConvertible(inRate, outRate) || channels < 1 || channels > mostMediaChannels)
        return nullptr;
    auto made = std::make_unique<FineConverter>(inRate, outRate, channels);
    return made->isReady() ? std::move(made) : nullptr;
}

} // namespace tonvale::workbench
