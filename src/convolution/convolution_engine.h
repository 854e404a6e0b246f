#pragma once

#include "convolution/containers/block_queue.h"
#include "convolution/containers/fifo_buffer.h"
#include "convolution/containers/impulse_buffer.h"

#include <cstddef>

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
/// mode; the transforms run inside samplesAvailable(), on the calling thread. The first
/// addSamples() behind setImpulse() allocates, as does one with another channel count; later ones
/// don't, unless the blocks grow. Where memory runs out a channel stays silent. No locks: one
/// thread at a time.
class ConvolutionEngine {
  public:
    ConvolutionEngine();
    ~ConvolutionEngine();
    ConvolutionEngine(const ConvolutionEngine &) = delete;
    ConvolutionEngine &operator=(const ConvolutionEngine &) = delete;

    /// Loads the samples of `impulse` from `impulseOffset` on, at most `maxImpulseLength` of them
    /// where that is above 0. `fftSize` above 0 must be a power of two that the host's transform
    /// takes; 0 or less lets the engine choose, up to 32768 or, at -16 or lower, up to the first
    /// power of two at or above minus twice the value. `forceDirect` picks direct mode. Answers the
    /// latency in samples.
    int32_t setImpulse(const ImpulseBuffer &impulse, int32_t wantedFftSize, int32_t impulseOffset,
                       int32_t maxImpulseLength, bool forceDirect);

    /// Takes a copy of `length` samples of each of `channelTotal` channels. A null entry is
    /// silence, and so is every channel where `buffers` is null.
    void addSamples(const double *const *buffers, int32_t length, int32_t channelTotal);

    /// Runs pending work until each channel has `wanted` samples ready or its input runs out, and
    /// answers how many each has, which can be more than `wanted`. Without channels it answers
    /// `wanted` in FFT mode and 0 in direct mode.
    int32_t samplesAvailable(int32_t wanted);

    /// One pointer a channel, at its oldest ready sample, null for a channel with none; null as a
    /// whole where memory is out. Valid, and writable, until the next call that changes the engine.
    double *const *outputPointers();

    /// The samples that a channel has ready: a channel that memory failed can have fewer than the
    /// others.
    int32_t samplesReady(int32_t channel) const;

    /// Consumes `length` ready samples of each channel.
    void advanceOutput(int32_t length);

    void addSilenceToOutput(int32_t length);

    /// Forgets all signal history and keeps the response.
    void resetState();

    /// The transform length in points, 0 in direct mode.
    int32_t getFftSize() const { return fftSize; }
    int32_t latencySamples() const { return fftSize / 2; }

    // Set and used by ConvolutionEngineDiv alone.
    int32_t stageOffset = 0;    ///< where this engine's part of the response begins, samples
    int32_t staggerSamples = 0; ///< silence in front of the input that has still to be taken out

  private:
    /// One distinct channel of the response.
    struct ImpulseSpectrum {
        /// Direct mode: the taps, the last one first. FFT mode: chunkCount spectra of fftSize
        /// points as pairs of real and imaginary part.
        TypedBuffer<float> blocks;
        ByteBuffer blockFlags; ///< FFT mode: one PartitionContent a partition
    };

    struct EngineChannel {
        FifoBuffer output;      ///< convolved samples
        FifoBuffer directInput; ///< direct mode: the input behind as much history as there are taps
        BlockQueue input;       ///< FFT mode: not yet transformed
        SampleBuffer history;   ///< chunkCount spectra of input, a ring
        ByteBuffer historyFlags;     ///< one SlotContent a spectrum of the ring
        SampleBuffer overlap;        ///< the tail of the last inverse transform
        int32_t historyPosition = 0; ///< the slot written last
    };

    /// What a partition of the response holds. Real and imaginary part carry the response channels
    /// i and i + 1, so that two audio channels with the same input share one transform.
    enum PartitionContent : uint8_t { partitionSilent, partitionNextOnly, partitionOwn };

    /// What a slot of the ring holds; the contents of a silent one are never read.
    enum SlotContent : uint8_t { slotSilent, slotShared, slotOwn };

    /// One channel's turn in samplesAvailable().
    struct Visit {
        EngineChannel *channel;
        EngineChannel *partner; ///< the odd channel beside an even one, null where there is none
        const ImpulseSpectrum *entry;
        bool lastEntry;
        bool paired;    ///< both channels run through one response in one complex transform
        bool tryShared; ///< both channels may yet turn out to have had the same input throughout
    };

    int32_t chunkSize() const { return fftSize / 2; }
    /// Where the spectrum of a partition or a slot begins.
    size_t spectrumOffset(int32_t index) const {
        return size_t{2} * static_cast<size_t>(fftSize) * static_cast<size_t>(index);
    }
    static int32_t usableLength(const ImpulseBuffer &impulse, int32_t channel, int32_t offset,
                                int32_t limit);
    bool hasImpulse() const { return impulseLength > 0 && impulses.getSize() > 0; }
    const ImpulseSpectrum *entryFor(int32_t channel) const;

    void chooseFftSize(int32_t wantedFftSize);
    void loadTaps(const ImpulseBuffer &impulse, int32_t offset, int32_t limit);
    void loadSpectra(const ImpulseBuffer &impulse, int32_t offset, int32_t limit);
    void loadPartition(ImpulseSpectrum &entry, int32_t partition, const double *real,
                       const double *imaginary, int32_t samples);

    void addDirect(int32_t index, const double *source, int32_t length);
    void rebuildChannels(int32_t channelTotal);

    Visit beginVisit(int32_t index);
    void convolveBlock(Visit &visit);
    double *takeBlock(EngineChannel &channel);
    bool partnerHasSameBlock(const EngineChannel &partner, const double *samples) const;
    bool ringsMatch(const EngineChannel &channel, const EngineChannel &partner) const;
    bool spreadSamples(double *slot, const double *partnerSamples) const;
    bool multiplySpectra(const EngineChannel &channel, const ImpulseSpectrum &entry,
                         PartitionContent least);
    void overlapAdd(EngineChannel &channel, const double *result) const;
    bool hasState(const EngineChannel &channel) const;

    PointerList<ImpulseSpectrum> impulses;
    int32_t impulseLength = 0; ///< samples of the longest channel, behind offset and limit
    int32_t chunkCount = 0;    ///< partitions
    int32_t fftSize = 0;
    int32_t channelCount = 0; ///< of the last addSamples(); -1 behind setImpulse()
    PointerList<EngineChannel> channels;
    SampleBuffer workBuffer; ///< two complex arrays of fftSize points: product, partner's samples
    TypedBuffer<double *> outputPointerArray;
};

} // namespace tonvale
