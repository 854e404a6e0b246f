#include "workbench/services/resampler.h"

#include "convolution/containers/bounded_integer.h"
#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr intptr_t promptMode = 0;
constexpr intptr_t fineMode = 4;

/// What one Prepare may ask for, over all channels.
constexpr int mostSamples = 1 << 22;

/// The output frames that a caller with much to convert asks for at a time.
constexpr int usualBlock = 1024;

/// Input frames that such a caller is asked for at a time.
constexpr int smallStep = 16;

class Resampler final : public ResamplerHandle {
  public:
    void destroy(int) override { delete this; }

    void SetRates(double in, double out) override {
        inRate = in;
        outRate = out;
        Reset();
    }

    void Reset() override {
        converter.reset();
        waiting.clear(1);
        channels = asked = 0;
        fed = made = 0.0;
    }

    int Prepare(int outFrames, int channelCount, double **place) override {
        if (place)
            *place = nullptr;
        if (!place || outFrames < 1)
            return 0;
        if (channelCount != channels && !begin(channelCount))
            return 0;
        if (waiting.frames() > 0 || !converter)
            return 0;
        asked = request(outFrames);
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
        if (call != resamplerSetMode || (mode != promptMode && mode != fineMode))
            return 0;
        isFine = mode == fineMode;
        Reset();
        return 1;
    }

  private:
    bool begin(int channelCount) {
        Reset();
        if (!isConvertible(inRate, outRate))
            return false;
        if (!isFine)
            converter = createPromptConverter(inRate, outRate, channelCount);
        if (!converter)
            converter = createFineConverter(inRate, outRate, channelCount);
        if (!converter)
            return false;
        channels = channelCount;
        waiting.clear(channelCount);
        return true;
    }

    /// A caller with much to convert stops, perhaps, when its input has ended: until less than its
    /// usual block is missing it gives little at a time, so that there is input left to complete
    /// the rest with. The rest is then asked for at once.
    int request(int outFrames) const {
        if (outFrames >= usualBlock)
            return smallStep;
        const double end = (made + outFrames) * (inRate / outRate) + converter->heldBack();
        return boundedInteger(std::ceil(end - fed), 1, mostSamples / channels);
    }

    void takeInput(int frames) {
        converter->push(input.data(), static_cast<size_t>(frames), waiting);
        fed += frames;
        made += static_cast<double>(waiting.frames());
        if (frames < asked) {
            converter->finish(waiting);
            converter.reset();
        }
        asked = 0;
    }

    double inRate = 0.0;
    double outRate = 0.0;
    bool isFine = false;
    std::unique_ptr<RateConverter> converter; ///< null when the input has ended
    FrameQueue waiting;
    std::vector<double> input; ///< the room that Prepare gives
    int channels = 0;          ///< of the present stream; 0 without one
    int asked = 0;             ///< frames of the Prepare that no Out has answered yet
    double fed = 0.0;          ///< input frames of this stream
    double made = 0.0;         ///< output frames of this stream
};

} // namespace

ResamplerHandle *createResampler() {
    return new Resampler;
}

} // namespace tonvale::workbench
