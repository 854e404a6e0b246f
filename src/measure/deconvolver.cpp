#include "measure/deconvolver.h"

#include "convolution/containers/bounded_integer.h"
#include "host/host_functions.h"
#include "host/host_object_ptr.h"
#include "measure/complex_transform.h"
#include "measure/source_reading.h"

#include <algorithm>
#include <cmath>

namespace tonvale {

namespace {

constexpr double largestRateDifference = 1.0;
constexpr double weakestDenominator = 1e-21;
constexpr int32_t smallestBits = 10;
constexpr int32_t untrimmedFloorDb = -150;

/// Counts the steps of a run.
class StepCounter {
  public:
    StepCounter(const MeasureProgress &toTell, int64_t stepCount)
        : progress(toTell)
        , total(stepCount) {}

    /// Answers false when the run is to end.
    bool step() {
        ++done;
        return !progress || progress(static_cast<double>(done) / static_cast<double>(total));
    }

  private:
    const MeasureProgress &progress;
    int64_t done = 0;
    int64_t total;
};

/// A file on its way from the source to its spectra.
struct MeasuredFile {
    HostObjectPtr<MediaSource> source;
    FrameRange range;
    ChannelBlocks channels;

    explicit MeasuredFile(const char *path)
        : source(hostFunctions.PCM_Source_CreateFromFile(path)) {}
};

int64_t stepsOf(MediaSource &recording, MediaSource &tone) {
    const int64_t recordingChannels = std::max(recording.GetNumChannels(), 0);
    const int64_t toneChannels = std::max(tone.GetNumChannels(), 0);
    const int64_t trims = 2, reads = 2, writes = 1;
    return trims + reads + toneChannels + 2 * recordingChannels + writes;
}

/// 0 or less where nothing is to be trimmed.
double thresholdOf(int32_t noiseFloorDb) {
    return noiseFloorDb > untrimmedFloorDb ? std::pow(10.0, noiseFloorDb / 20.0) : -1.0;
}

/// The base-2 logarithm of the transform size that holds `span` points.
int32_t transformBits(int32_t span) {
    int32_t bits = smallestBits;
    while (int64_t{1} << bits < span)
        ++bits;
    return bits;
}

/// The part of the first `span` frames from the first to the last in which some channel reaches
/// `threshold`; the first frame alone when none does.
FrameRange trimmedRange(const ChannelBlocks &channels, int32_t span, double threshold) {
    if (threshold <= 0.0)
        return {0, span};
    const auto isAudible = [&](int32_t frame) {
        for (int32_t c = 0; c < channels.getSize(); ++c) {
            if (std::fabs(channels.get(c)[ptrdiff_t{2} * frame]) >= threshold)
                return true;
        }
        return false;
    };
    int32_t first = 0;
    while (first < span && !isAudible(first))
        ++first;
    if (first == span)
        return {0, 1};
    int32_t last = span - 1;
    while (!isAudible(last))
        --last;
    return {first, last - first + 1};
}

/// From the signals of both files to the impulse response in the real parts of `recording`.
/// Answers false when `counter` ends the run.
bool divideSignals(ComplexTransform &transform, int32_t bits, ChannelBlocks &recording,
                   ChannelBlocks &tone, StepCounter &counter) {
    for (ChannelBlocks *file : {&recording, &tone}) {
        for (int32_t c = 0; c < file->getSize(); ++c) {
            transform.forward(file->get(c));
            if (!counter.step())
                return false;
        }
    }
    const int64_t size = int64_t{1} << bits;
    for (int32_t c = 0; c < recording.getSize(); ++c) {
        divideSpectra(recording.get(c), tone.get(c % tone.getSize()), size,
                      1.0 / static_cast<double>(size));
        transform.inverse(recording.get(c));
        if (!counter.step())
            return false;
    }
    return true;
}

} // namespace

MeasureOutcome deconvolve(const char *recordingPath, const char *tonePath, const char *outputPath,
                          const DeconvolveSettings &settings, const MeasureProgress &progress) {
    if (!hostFunctions.PCM_Sink_Create)
        return MeasureOutcome::unavailable;

    MeasuredFile recording(recordingPath);
    MeasuredFile tone(tonePath);
    if (!recording.source)
        return MeasureOutcome::recordingFailed;
    if (!tone.source)
        return MeasureOutcome::toneFailed;
    const double sampleRate = recording.source->GetSampleRate();
    if (std::fabs(sampleRate - tone.source->GetSampleRate()) > largestRateDifference)
        return MeasureOutcome::ratesDiffer;
    StepCounter counter(progress, stepsOf(*recording.source, *tone.source));

    // What is silent at the ends of either file has no part in the division.
    const double threshold = thresholdOf(settings.noiseFloorDb);
    for (MeasuredFile *file : {&recording, &tone}) {
        file->range = findAudibleRange(*file->source, threshold);
        if (!counter.step())
            return MeasureOutcome::cancelled;
    }
    if (recording.range.length == 0 || tone.range.length == 0)
        return MeasureOutcome::silent;

    // A sink reads real parts at offsets of twice the frame, which must stay inside int32.
    static_assert(ComplexTransform::maxBits <= 30);
    const int32_t span = std::max(recording.range.length, tone.range.length);
    const int32_t bits = transformBits(span);
    ComplexTransform transform;
    if (bits > ComplexTransform::maxBits || !transform.prepare(bits))
        return MeasureOutcome::outOfMemory;

    for (MeasuredFile *file : {&recording, &tone}) {
        if (!readChannels(*file->source, file->range, bits, file->channels))
            return MeasureOutcome::decodingFailed;
        if (!counter.step())
            return MeasureOutcome::cancelled;
    }

    if (!divideSignals(transform, bits, recording.channels, tone.channels, counter))
        return MeasureOutcome::cancelled;

    // The level below which the files were trimmed bounds the result too.
    const FrameRange out = trimmedRange(recording.channels, span, threshold);
    WaveFormatBlock format;
    format.bitDepth = static_cast<uint8_t>(settings.deconvolveBitDepth);
    const int32_t channelCount = recording.channels.getSize();
    HostObjectPtr<MediaSink> sink(
        hostFunctions.PCM_Sink_Create(outputPath, &format, sizeof format, channelCount,
                                      boundedInteger(sampleRate, INT32_MIN, INT32_MAX), 0));
    if (!sink)
        return MeasureOutcome::outputFailed;
    sink->WriteDoubles(recording.channels.get(), out.length, channelCount, 2 * out.start, 2);
    counter.step();
    return MeasureOutcome::done;
}

void divideSpectra(double *numerator, const double *denominator, int64_t count, double scale) {
    for (int64_t k = 0; k < count; ++k) {
        double *a = numerator + 2 * k;
        const double *b = denominator + 2 * k;
        const double power = b[0] * b[0] + b[1] * b[1];
        if (power < weakestDenominator) {
            a[0] = a[1] = 0.0;
            continue;
        }
        const double factor = scale / power;
        const double re = a[0] * b[0] + a[1] * b[1];
        const double im = a[1] * b[0] - a[0] * b[1];
        a[0] = re * factor;
        a[1] = im * factor;
    }
}

} // namespace tonvale
