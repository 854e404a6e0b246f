#include "workbench/services/resampler.h"

#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tonvale::workbench {

namespace {

/// What one Prepare may ask for: no more frames, and no more samples over all channels.
constexpr int mostFrames = 65536;
constexpr int mostSamples = 1 << 22;

/// The least input after which a new stream gives `wanted` frames, up to a few frames; found by
/// trying it on silence.
int firstRequest(double inRate, double outRate, ConversionQuality quality, int wanted) {
    constexpr size_t step = 16;
    const double silence[step] = {};
    RateConverter trial;
    if (!trial.start(inRate, outRate, 1, quality))
        return 0;
    FrameQueue out;
    out.clear(1);
    const double passed = wanted * inRate / outRate;
    // A steep filter at an extreme ratio holds back more than anyone would wait for.
    const double limit = 2.0 * passed + 16384.0 * std::max(1.0, inRate / outRate);
    size_t fed = 0;
    while (out.frames() < static_cast<size_t>(wanted) && static_cast<double>(fed) < limit) {
        trial.push(silence, step, out);
        fed += step;
    }
    return static_cast<int>(fed);
}

class Resampler final : public ResamplerHandle {
  public:
    void destroy(int) override { delete this; }

    void SetRates(double in, double out) override {
        inRate = in;
        outRate = out;
        Reset();
    }

    void Reset() override {
        converter.stop();
        waiting.clear(1);
        channels = 0;
        asked = 0;
    }

    int Prepare(int outFrames, int channelCount, double **place) override {
        if (place)
            *place = nullptr;
        if (!place || outFrames < 1)
            return 0;
        if (channelCount != channels && !begin(channelCount))
            return 0;
        if (waiting.frames() > 0 || !converter.isRunning())
            return 0;
        asked = request(std::min(outFrames, mostFrames));
        input.resize(static_cast<size_t>(asked) * static_cast<size_t>(channels));
        *place = input.data();
        return asked;
    }

    int Out(double *out, int inFrames, int outFrames, int channelCount) override {
        if (channelCount != channels || channels == 0)
            return 0;
        if (asked > 0)
            takeInput(std::clamp(inFrames, 0, asked));
        if (!out || outFrames < 1)
            return 0;
        return static_cast<int>(waiting.take(out, static_cast<size_t>(outFrames)));
    }

    intptr_t Extended(int call, intptr_t mode, intptr_t, intptr_t) override {
        if (call != resamplerSetMode || mode < 0 ||
            mode > static_cast<intptr_t>(ConversionQuality::veryHigh))
            return 0;
        quality = static_cast<ConversionQuality>(mode);
        Reset();
        return 1;
    }

  private:
    bool begin(int channelCount) {
        Reset();
        if (!converter.start(inRate, outRate, channelCount, quality))
            return false;
        channels = channelCount;
        waiting.clear(channelCount);
        fresh = true;
        return true;
    }

    int request(int outFrames) {
        const int frames = fresh ? firstRequest(inRate, outRate, quality, outFrames)
                                 : static_cast<int>(std::ceil(outFrames * inRate / outRate));
        fresh = false;
        return std::clamp(frames, 1, std::min(mostFrames, mostSamples / channels));
    }

    void takeInput(int frames) {
        converter.push(input.data(), static_cast<size_t>(frames), waiting);
        if (frames < asked)
            converter.finish(waiting);
        asked = 0;
    }

    double inRate = 0.0;
    double outRate = 0.0;
    ConversionQuality quality = ConversionQuality::high;
    RateConverter converter; ///< stopped when the input has ended
    FrameQueue waiting;
    std::vector<double> input; ///< the room that Prepare gives
    int channels = 0;          ///< of the present stream; 0 without one
    int asked = 0;             ///< frames of the Prepare that no Out has answered yet
    bool fresh = false;        ///< no Prepare has asked for input of this stream
};

} // namespace

ResamplerHandle *createResampler() {
    return new Resampler;
}

} // namespace tonvale::workbench
