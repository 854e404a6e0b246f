#pragma once

#include "convolution/convolution_engine.h"

namespace tonvale {

/// Convolves with no latency, or with a chosen small one, however long the response is: it is cut
/// into segments of growing length, each with an engine of its own whose chunks are as long as the
/// segment is late (non-uniformly partitioned convolution; Gardner 1995).
///
/// The operations, their order, and what allocates are those of ConvolutionEngine. With a direct
/// first stage a block of any length is answered at once: samplesAvailable(n) behind n new samples
/// is n. No locks: one thread at a time.
class ConvolutionEngineDiv {
  public:
    ConvolutionEngineDiv();
    ~ConvolutionEngineDiv();
    ConvolutionEngineDiv(const ConvolutionEngineDiv &) = delete;
    ConvolutionEngineDiv &operator=(const ConvolutionEngineDiv &) = delete;

    /// Loads the samples of `impulse` from `impulseOffset` on, at most `maxImpulseLength` of them
    /// where that is above 0. Transforms stay at or below twice the magnitude of `maxFftSize`, 0
    /// meaning no limit but the host's. `knownBlockSize`, a power of two above 128, begins the
    /// schedule at half of it; 0 begins at 64. `latencyAllowed` samples of latency may be spent.
    /// Answers the latency in samples.
    int32_t setImpulse(const ImpulseBuffer &impulse, int32_t maxFftSize, int32_t knownBlockSize,
                       int32_t maxImpulseLength, int32_t impulseOffset, int32_t latencyAllowed);

    void addSamples(const double *const *buffers, int32_t length, int32_t channelTotal);
    /// At most `wanted`.
    int32_t samplesAvailable(int32_t wanted);
    double *const *outputPointers();
    int32_t samplesReady(int32_t channel) const;
    void advanceOutput(int32_t length);
    void resetState();

    /// That of the first stage: 0 when it is direct, and without stages.
    int32_t latencySamples() const;

  private:
    void prime(ConvolutionEngine &stage, bool stagger, int32_t channelTotal);
    void sumStage(ConvolutionEngine &stage, int32_t count);

    PointerList<ConvolutionEngine> stages; ///< in the order of their place in the response
    PointerList<FifoBuffer> outputs;       ///< one a channel: sums that are ready
    TypedBuffer<double *> outputPointerArray;
    bool needsPriming = true; ///< the next addSamples() puts silence in front of the stages
};

} // namespace tonvale
