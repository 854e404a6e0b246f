#include "convolution/convolution_engine.h"

#include "convolution/sample_streams.h"
#include "convolution/spectrum_product.h"
#include "convolution/tiny_value_filter.h"
#include "host/host_functions.h"

#include <algorithm>
#include <cmath>

// FFT mode: uniformly partitioned overlap-add (Stockham 1966; Kulp 1988), with the spectra of the
// input kept, so that each block is transformed once. Two real signals share a complex transform
// wherever the input allows it:
//
//  - one response, two channels: their inputs go in as real and imaginary part, and, the response
//    being real, come out apart again (Visit::paired);
//  - two responses, one input: the responses lie in the real and imaginary part of a partition's
//    spectrum, so one product holds both outputs, for as long as both channels hear the same.

namespace tonvale {

namespace {

/// What two queued blocks may differ by and count as one, and below which a block counts as silent.
constexpr double audibleDifference = 1e-12;
/// A partition of the response below this is never multiplied.
constexpr double audibleResponse = 1e-15;

constexpr int32_t forward = 0;
constexpr int32_t inverse = 1;

/// Resizes to a count that may be too large to hold; a failure leaves the buffer empty.
template <class T>
void resizeOrEmpty(TypedBuffer<T> &buffer, int64_t count) {
    buffer.resize(static_cast<int32_t>(std::min<int64_t>(count, INT32_MAX)), true);
    if (buffer.getSize() != count)
        buffer.resize(0, true);
    else
        buffer.fillZero();
}

double largestMagnitude(const double *samples, int32_t count) {
    double largest = 0.0;
    for (int32_t i = 0; i < count; ++i)
        largest = std::max(largest, std::fabs(samples[i]));
    return largest;
}

/// Writes scaled samples to the real (place) or imaginary (place + 1) parts of a complex block.
void spreadScaled(double *place, const double *samples, int32_t count, double scale) {
    for (int32_t i = 0; i < count; ++i)
        place[2 * i] = withoutTinyValues(samples[i] * scale);
}

} // namespace

void ConvolutionEngine::chooseFftSize(int32_t wantedFftSize) {
    fftSize = wantedFftSize;
    if (fftSize < 1) {
        const int64_t largest =
            wantedFftSize <= -16 ? -2 * int64_t{wantedFftSize} : largestTransform;
        int64_t size = smallestTransform;
        while (size < 2 * int64_t{impulseLength} && size < largest && size < largestTransform)
            size *= 2;
        fftSize = static_cast<int32_t>(size);
    }
    chunkCount = impulseLength / chunkSize() + (impulseLength % chunkSize() > 0 ? 1 : 0);
}

void ConvolutionEngine::loadSpectra(const ImpulseBuffer &impulse, int32_t offset, int32_t limit) {
    offset = std::max(offset, 0);
    const int32_t entries = impulses.getSize();
    for (int32_t i = 0; i < entries; ++i) {
        ImpulseSpectrum &entry = *impulses.get(i);
        resizeOrEmpty(entry.blocks, int64_t{chunkCount} * fftSize * 2);
        resizeOrEmpty(entry.blockFlags, entry.blocks.getSize() > 0 ? chunkCount : 0);
        workBuffer.resize(4 * fftSize, true);
        if (workBuffer.getSize() != 4 * fftSize)
            continue;

        const bool hasNext = i + 1 < entries;
        const double *real = impulse.getChannel(i);
        const double *imaginary = hasNext ? impulse.getChannel(i + 1) : nullptr;
        const int32_t length = usableLength(impulse, i, offset, limit);
        for (int32_t j = 0; j < entry.blockFlags.getSize(); ++j) {
            const int32_t start = j * chunkSize();
            const int32_t samples = std::clamp(length - start, 0, chunkSize());
            if (samples > 0)
                loadPartition(entry, j, real + offset + start,
                              imaginary ? imaginary + offset + start : nullptr, samples);
        }
    }
}

void ConvolutionEngine::loadPartition(ImpulseSpectrum &entry, int32_t partition, const double *real,
                                      const double *imaginary, int32_t samples) {
    PartitionContent content = partitionSilent;
    if (largestMagnitude(real, samples) > audibleResponse)
        content = partitionOwn;
    else if (imaginary && largestMagnitude(imaginary, samples) > audibleResponse)
        content = partitionNextOnly;
    entry.blockFlags.get()[partition] = content;
    if (content == partitionSilent)
        return;

    // The pair of transforms that a sample passes through scales it by fftSize.
    const double scale = 1.0 / fftSize;
    double *block = workBuffer.get();
    std::fill_n(block, 2 * fftSize, 0.0);
    spreadScaled(block, real, samples, scale);
    if (imaginary)
        spreadScaled(block + 1, imaginary, samples, scale);
    hostFunctions.ZUB_fft_8(block, fftSize, forward);

    float *spectrum = entry.blocks.get() + spectrumOffset(partition);
    for (int32_t i = 0; i < 2 * fftSize; ++i)
        spectrum[i] = static_cast<float>(block[i]);
}

bool ConvolutionEngine::hasState(const EngineChannel &channel) const {
    return channel.history.getSize() > 0 && channel.overlap.getSize() > 0 &&
           channel.historyFlags.getSize() > 0;
}

void ConvolutionEngine::rebuildChannels(int32_t channelTotal) {
    channelCount = channelTotal;
    const int32_t partitions = hasImpulse() ? chunkCount : 0;
    int32_t most = 0;
    for (int32_t i = 0; i < channels.getSize(); ++i) {
        EngineChannel &channel = *channels.get(i);
        channel.historyPosition = 0;
        const int32_t pending =
            channel.output.samplesAvailable() + channel.input.samplesAvailable();
        most = std::max(most, pending);
        if (partitions < 1)
            moveSamples(channel.input, channel.output);
        // Channels that have less under way than an earlier one are filled up to it.
        appendSamples(channel.output, nullptr, most - pending);
        resizeOrEmpty(channel.historyFlags, partitions);
        resizeOrEmpty(channel.history, int64_t{partitions} * fftSize * 2);
        resizeOrEmpty(channel.overlap, partitions > 0 ? chunkSize() : 0);
    }
}

int32_t ConvolutionEngine::samplesAvailable(int32_t wanted) {
    if (fftSize < 1)
        return samplesReady(0);
    if (channelCount < 1)
        return wanted;

    workBuffer.resize(4 * fftSize, true);
    if (hasImpulse() && workBuffer.getSize() == 4 * fftSize) {
        for (int32_t i = 0; i < channels.getSize(); ++i) {
            EngineChannel &channel = *channels.get(i);
            const int32_t ready = channel.output.samplesAvailable();
            const int32_t coming = std::min(channel.input.samplesAvailable(),
                                            std::max(wanted - ready, 0) + chunkSize());
            reserveSamples(channel.output, ready + coming, chunkSize());
        }
        for (int32_t i = 0; i < channels.getSize(); ++i) {
            Visit visit = beginVisit(i);
            if (!hasState(*visit.channel))
                continue;
            while (visit.channel->input.samplesAvailable() >= chunkSize() &&
                   visit.channel->output.samplesAvailable() < wanted)
                convolveBlock(visit);
            if (visit.paired)
                ++i;
        }
    }

    int32_t ready = samplesReady(0);
    for (int32_t i = 1; i < channels.getSize(); ++i)
        ready = std::min(ready, samplesReady(i));
    return ready;
}

ConvolutionEngine::Visit ConvolutionEngine::beginVisit(int32_t index) {
    Visit visit{};
    visit.channel = channels.get(index);
    EngineChannel *partner = index % 2 == 0 ? channels.get(index + 1) : nullptr;
    if (partner && hasState(*partner))
        visit.partner = partner;
    visit.entry = entryFor(index);
    visit.lastEntry = index % impulses.getSize() == impulses.getSize() - 1;
    visit.paired = impulses.getSize() == 1 && visit.partner &&
                   visit.channel->input.getAvailable() == partner->input.getAvailable() &&
                   visit.channel->output.getAvailable() == partner->output.getAvailable();
    visit.tryShared = !visit.paired;
    return visit;
}

void ConvolutionEngine::convolveBlock(Visit &visit) {
    EngineChannel &channel = *visit.channel;
    EngineChannel *partner = visit.partner;

    // The block goes into the next slot of the ring, spread to complex points.
    double *slot = takeBlock(channel);
    double *partnerSlot = nullptr;
    bool shared = false;
    const double *partnerSamples = nullptr;
    if (visit.paired) {
        partnerSlot = takeBlock(*partner);
        partnerSamples = partnerSlot + chunkSize();
    } else if (visit.tryShared) {
        visit.tryShared =
            partner && !visit.lastEntry && partnerHasSameBlock(*partner, slot + chunkSize());
        shared = visit.tryShared && ringsMatch(channel, *partner);
    }
    const bool audible = spreadSamples(slot, partnerSamples);

    // Its spectrum.
    if (audible) {
        std::fill_n(slot + fftSize, fftSize, 0.0);
        hostFunctions.ZUB_fft_8(slot, fftSize, forward);
    }
    const SlotContent heard = shared ? slotShared : slotOwn;
    channel.historyFlags.get()[channel.historyPosition] = audible ? heard : slotSilent;
    if (visit.paired)
        partner->historyFlags.get()[partner->historyPosition] = slotSilent;
    if (shared) {
        partner->input.advance(sampleBytes(chunkSize()));
        partner->historyPosition = (partner->historyPosition + 1) % chunkCount;
        partner->historyFlags.get()[partner->historyPosition] = audible ? slotShared : slotSilent;
        std::copy_n(slot, 2 * fftSize,
                    partner->history.get() + spectrumOffset(partner->historyPosition));
    }

    // The sum over all partitions, back in time.
    double *result = workBuffer.get();
    const PartitionContent least = shared ? partitionNextOnly : partitionOwn;
    if (multiplySpectra(channel, *visit.entry, least))
        hostFunctions.ZUB_fft_8(result, fftSize, inverse);
    else
        std::fill_n(result, 2 * fftSize, 0.0);

    overlapAdd(channel, result);
    if (visit.paired || shared)
        overlapAdd(*partner, result + 1);
}

/// Moves the ring on and a block of input into the second quarter of the new slot, from where it
/// can be spread to complex points in place.
double *ConvolutionEngine::takeBlock(EngineChannel &channel) {
    channel.historyPosition = (channel.historyPosition + 1) % chunkCount;
    double *slot = channel.history.get() + spectrumOffset(channel.historyPosition);
    channel.input.getToBuffer(0, slot + chunkSize(), sampleBytes(chunkSize()));
    channel.input.advance(sampleBytes(chunkSize()));
    return slot;
}

bool ConvolutionEngine::partnerHasSameBlock(const EngineChannel &partner,
                                            const double *samples) const {
    for (int32_t done = 0; done < chunkSize();) {
        int32_t bytes = 0;
        const auto *piece =
            static_cast<const double *>(partner.input.getPiece(sampleBytes(done), bytes));
        if (!piece)
            return false;
        const int32_t count =
            std::min(bytes / static_cast<int32_t>(sizeof(double)), chunkSize() - done);
        for (int32_t i = 0; i < count; ++i) {
            if (!(std::fabs(piece[i] - samples[done + i]) <= audibleDifference))
                return false;
        }
        done += count;
    }
    return true;
}

/// Whether each older block was shared by both channels too, or silent in both: only then does one
/// ring tell the past of both. This channel's ring has moved on to the new block already, the
/// partner's hasn't.
bool ConvolutionEngine::ringsMatch(const EngineChannel &channel,
                                   const EngineChannel &partner) const {
    const uint8_t *own = channel.historyFlags.get();
    const uint8_t *other = partner.historyFlags.get();
    for (int32_t age = 1; age < chunkCount; ++age) {
        const uint8_t ownSlot = own[(channel.historyPosition - age + chunkCount) % chunkCount];
        const uint8_t otherSlot =
            other[(partner.historyPosition - age + 1 + chunkCount) % chunkCount];
        if (ownSlot == slotOwn || ownSlot != otherSlot)
            return false;
    }
    return true;
}

/// Spreads the parked samples to complex points, with the partner's as imaginary part where given.
/// Answers whether any of them is audible.
bool ConvolutionEngine::spreadSamples(double *slot, const double *partnerSamples) const {
    const double *samples = slot + chunkSize();
    bool audible = false;
    for (int32_t i = 0; i < chunkSize(); ++i) {
        const double real = withoutTinyValues(samples[i]);
        const double imaginary = partnerSamples ? withoutTinyValues(partnerSamples[i]) : 0.0;
        slot[2 * i] = real;
        slot[2 * i + 1] = imaginary;
        audible |= std::fabs(real) > audibleDifference || std::fabs(imaginary) > audibleDifference;
    }
    return audible;
}

/// Puts the sum of input spectra times response spectra into workBuffer, or answers false where
/// nothing contributes.
bool ConvolutionEngine::multiplySpectra(const EngineChannel &channel, const ImpulseSpectrum &entry,
                                        PartitionContent least) {
    bool any = false;
    for (int32_t j = 0; j < entry.blockFlags.getSize(); ++j) {
        const int32_t slot = (channel.historyPosition - j + chunkCount) % chunkCount;
        if (entry.blockFlags.get()[j] < least || channel.historyFlags.get()[slot] == slotSilent)
            continue;
        const auto multiply = any ? addSpectrumProduct : storeSpectrumProduct;
        multiply(workBuffer.get(), channel.history.get() + spectrumOffset(slot),
                 entry.blocks.get() + spectrumOffset(j), fftSize);
        any = true;
    }
    return any;
}

/// `result` is at the real or at the imaginary part of the first point.
void ConvolutionEngine::overlapAdd(EngineChannel &channel, const double *result) const {
    double *overlap = channel.overlap.get();
    if (double *out = channel.output.addSamples(nullptr, chunkSize())) {
        for (int32_t i = 0; i < chunkSize(); ++i)
            out[i] = overlap[i] + result[2 * i];
    }
    for (int32_t i = 0; i < chunkSize(); ++i)
        overlap[i] = result[fftSize + 2 * i];
}

} // namespace tonvale
