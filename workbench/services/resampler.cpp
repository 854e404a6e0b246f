#include "workbench/services/resampler.h"

#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tonvale::workbench {

namespace {

/// What one Prepare may ask for: no more frames, and no more samples over all channels.
constexpr int mostFrames = 65536;
constexpr int mostSamples = 1 << 22;

/// The output frames that a caller with much to convert asks for at a time.
constexpr int usualBlock = 1024;

/// How much input completes how much output. A conversion works in blocks of its own length, so
/// what it holds back rises and falls; this one runs ahead of another, on silence, to tell.
class Forecast {
  public:
    bool start(double inRate, double outRate, ConversionQuality quality) {
        ahead.clear(1);
        return trial.start(inRate, outRate, 1, quality);
    }

    /// The least further input, in steps of a few frames and at most `limit`, that completes at
    /// least `outFrames` further frames.
    int inputFor(int outFrames, int limit) {
        constexpr int step = 16;
        const double silence[step] = {};
        int fed = 0;
        while (ahead.frames() < static_cast<size_t>(outFrames) && fed + step <= limit) {
            trial.push(silence, step, ahead);
            fed += step;
        }
        ahead.clear(1);
        return fed;
    }

  private:
    RateConverter trial;
    FrameQueue ahead;
};

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
        if (!converter.start(inRate, outRate, channelCount, quality) ||
            !forecast.start(inRate, outRate, quality)) {
            converter.stop();
            return false;
        }
        channels = channelCount;
        waiting.clear(channelCount);
        largestWanted = 0;
        return true;
    }

    /// One block of the conversion is enough for a caller that goes on. One that wants less than
    /// before, or less than callers take at a time, is near its end: it gets all that it wants.
    int request(int outFrames) {
        const bool mayBeAll = outFrames < std::max(largestWanted, usualBlock);
        largestWanted = std::max(largestWanted, outFrames);
        return forecast.inputFor(mayBeAll ? outFrames : 1,
                                 std::min(mostFrames, mostSamples / channels));
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
    Forecast forecast;
    FrameQueue waiting;
    std::vector<double> input; ///< the room that Prepare gives
    int channels = 0;          ///< of the present stream; 0 without one
    int asked = 0;             ///< frames of the Prepare that no Out has answered yet
    int largestWanted = 0;     ///< output frames of the greatest Prepare of this stream
};

} // namespace

ResamplerHandle *createResampler() {
    return new Resampler;
}

} // namespace tonvale::workbench
