#pragma once

#include "convolution/output_pointers.h"
#include "convolution/stream_convolver.h"

namespace tonvale {

/// Convolves with no latency, or with a chosen small one, however long the response is: it is cut
/// into stages of growing length whose chunks are as long as they are late (non-uniformly
/// partitioned convolution; Gardner 1995).
///
/// The operations, their order, and what allocates are those of ConvolutionEngine. Without latency
/// a block of any length is answered at once: samplesAvailable(n) behind n new samples is n. No
/// locks: one thread at a time.
class ConvolutionEngineDiv {
  public:
    /// Loads the samples of `impulse` from `impulseOffset` on, at most `maxImpulseLength` of them
    /// where that is above 0. Transforms stay at or below twice the magnitude of `maxFftSize`, 0
    /// meaning no limit but the host's. `knownBlockSize`, a power of two above 128, begins the
    /// schedule at half of it; 0 begins at 64. `latencyAllowed` samples of latency may be spent.
    /// `channels` is how many are to come, 0 where that isn't known: pairs cost a little less than
    /// as many channels alone. Answers the latency in samples.
    int32_t setImpulse(const ImpulseBuffer &impulse, int32_t maxFftSize, int32_t knownBlockSize,
                       int32_t maxImpulseLength, int32_t impulseOffset, int32_t latencyAllowed,
                       int32_t channels = 0);

    void addSamples(const double *const *buffers, int32_t length, int32_t channelTotal) {
        convolver.addSamples(buffers, length, channelTotal);
    }
    void prime(int32_t length, int32_t channelTotal) {
        convolver.prime(length, channelTotal);
        pointers.get(convolver, 1);
    }
    /// At most `wanted`.
    int32_t samplesAvailable(int32_t wanted);
    double *const *outputPointers(int32_t wanted = 1) { return pointers.get(convolver, wanted); }
    int32_t samplesReady(int32_t channel) const {
        return channel >= 0 && channel < convolver.channelCount() ? convolver.ready() : 0;
    }
    void advanceOutput(int32_t length) { convolver.consume(length); }
    void resetState() { convolver.reset(); }

    int32_t latencySamples() const { return latency; }

  private:
    StreamConvolver convolver;
    OutputPointers pointers;
    int32_t latency = 0;
};

} // namespace tonvale
