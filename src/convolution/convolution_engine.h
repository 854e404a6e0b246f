#pragma once

#include "convolution/output_pointers.h"
#include "convolution/stream_convolver.h"

namespace tonvale {

/// Convolves the channels of a stream with a multi-channel impulse response: channel c with
/// response channel c modulo their number. The response is kept in single precision, all arithmetic
/// is in double.
///
/// Direct mode runs the response as time-domain taps and has no latency. FFT mode is uniformly
/// partitioned overlap-add: the response is cut into partitions of fftSize / 2 samples, the spectra
/// of the input stay in a ring, and a block of input costs one forward and one inverse transform
/// however long the response is. A response of no samples passes the input through.
///
/// Calling order: setImpulse() once, then any number of cycles of addSamples(), samplesAvailable(),
/// outputPointers(), advanceOutput(), with blocks of any length. addSamples() only queues in FFT
/// mode; the work is done inside samplesAvailable(), on the calling thread. The first addSamples()
/// behind setImpulse() allocates, as does one with another channel count; later ones don't, unless
/// blocks grow or more is left unread; behind prime() none does. Where memory runs out a channel
/// stays silent. No locks: one thread at a time.
class ConvolutionEngine {
  public:
    /// Loads the samples of `impulse` from `impulseOffset` on, at most `maxImpulseLength` of them
    /// where that is above 0. `fftSize` above 0 must be a power of two that the host's transform
    /// takes; 0 or less lets the engine choose, up to 32768 or, at -16 or lower, up to the first
    /// power of two at or above minus twice the value. `forceDirect` picks direct mode. `channels`
    /// is how many are to come, 0 where that isn't known: pairs cost a little less than as many
    /// channels alone. Answers the latency in samples.
    int32_t setImpulse(const ImpulseBuffer &impulse, int32_t wantedFftSize, int32_t impulseOffset,
                       int32_t maxImpulseLength, bool forceDirect, int32_t channels = 0);

    /// Takes a copy of `length` samples of each of `channelTotal` channels. A null entry is
    /// silence, and so is every channel where `buffers` is null.
    void addSamples(const double *const *buffers, int32_t length, int32_t channelTotal) {
        convolver.addSamples(buffers, length, channelTotal);
    }
    /// Plays `length` samples of silence and gets all memory that is needed while as many samples
    /// stay ready and blocks are no longer than usualBlock.
    void prime(int32_t length, int32_t channelTotal) {
        convolver.prime(length, channelTotal);
        pointers.get(convolver, 1);
    }

    /// Runs pending work and answers how many samples each channel has ready, which can be more
    /// than `wanted`. Without channels it answers `wanted` in FFT mode and 0 in direct mode.
    int32_t samplesAvailable(int32_t wanted);

    /// One pointer a channel, at its oldest ready sample, null for a channel with none, or with
    /// fewer than `wanted`; null as a whole where memory is out. Valid, and writable, until the
    /// next call that changes the engine.
    double *const *outputPointers(int32_t wanted = 1) { return pointers.get(convolver, wanted); }

    /// The samples that a channel has ready.
    int32_t samplesReady(int32_t channel) const {
        return channel >= 0 && channel < convolver.channelCount() ? convolver.ready() : 0;
    }

    /// Consumes `length` ready samples of each channel.
    void advanceOutput(int32_t length) { convolver.consume(length); }

    void addSilenceToOutput(int32_t length) { convolver.addSilence(length); }

    /// Forgets all signal history and keeps the response.
    void resetState() { convolver.reset(); }

    /// The transform length in points, 0 in direct mode.
    int32_t getFftSize() const { return fftSize; }
    int32_t latencySamples() const { return fftSize / 2; }

  private:
    StreamConvolver convolver;
    OutputPointers pointers;
    int32_t fftSize = 0;
};

} // namespace tonvale
