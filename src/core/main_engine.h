#pragma once

#include "convolution/convolution_engine.h"
#include "convolution/convolution_engine_div.h"

#include <memory>

namespace tonvale {

/// The engine that the audio thread runs itself: zlEngine while ZL is on, else uniformEngine, never
/// both. Its sample k belongs to input sample k, held back until enough input is there. Without
/// either engine it answers nothing. One thread at a time.
struct MainEngine {
    std::unique_ptr<ConvolutionEngine> uniformEngine;
    std::unique_ptr<ConvolutionEngineDiv> zlEngine;

    explicit operator bool() const { return uniformEngine || zlEngine; }

    /// Takes a copy; null channels, and null `buffers`, are silence.
    void addSamples(const double *const *buffers, int32_t frames, int32_t channels);
    /// Plays `silence` samples of each channel, which are ready then, and gets all the memory that
    /// blocks need with that many under way. Not the audio thread.
    void prime(int32_t silence, int32_t channels);
    /// Convolves what is due, and answers how many of `wanted` samples each channel has.
    int32_t samplesAvailable(int32_t wanted);
    /// Fills `out`, one place a channel: the oldest ready samples, which may be written, or null
    /// where memory left a channel with fewer than `wanted`. Good until the next call.
    void readyPointers(double **out, int32_t wanted, int32_t channels);
    void advanceOutput(int32_t frames);
    /// Forgets all signal and keeps the response.
    void resetState();
    int32_t latencySamples() const;

  private:
    template <class Use>
    auto onEngine(Use use) const -> decltype(use(*uniformEngine));
};

} // namespace tonvale
