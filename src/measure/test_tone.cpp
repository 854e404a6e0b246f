#include "measure/test_tone.h"

#include "convolution/containers/bounded_integer.h"
#include "host/host_functions.h"
#include "host/host_object_ptr.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <numbers>
#include <system_error>

namespace tonvale {

namespace {

constexpr int32_t blockLength = 512;
constexpr double startHz = 20.0;

/// The oscillator of the sweep, over `total` samples from the first.
class SweepOscillator {
  public:
    SweepOscillator(double sampleRate, int32_t total)
        : startRatio(2.0 * startHz / sampleRate)
        , length(total) {}

    double next() {
        const double sample = std::sin(phase);
        const double t = position / length;
        const double rise = (t * t) * (t * t) * t;
        // The instantaneous frequency as a share of the Nyquist frequency, which is half a turn a
        // sample.
        phase += std::numbers::pi * (rise * (1.0 - startRatio) + startRatio);
        position += 1.0;
        return sample;
    }

  private:
    double startRatio;
    double length;
    double position = 0.0;
    double phase = 0.0;
};

/// Answers false when `progress` ends the run.
bool writeSweep(MediaSink &sink, double sampleRate, int32_t total,
                const MeasureProgress &progress) {
    SweepOscillator oscillator(sampleRate, total);
    double block[blockLength];
    double *channels[] = {block};
    for (int32_t done = 0; done < total;) {
        const int32_t count = std::min(blockLength, total - done);
        std::generate_n(block, count, [&] { return oscillator.next(); });
        sink.WriteDoubles(channels, count, 1, 0, 1);
        done += count;
        if (progress && !progress(static_cast<double>(done) / total))
            return false;
    }
    return true;
}

void removeFile(const char *path) {
    try {
        std::error_code ignored;
        std::filesystem::remove(reinterpret_cast<const char8_t *>(path), ignored);
    } catch (const std::exception &) {
        // A path that the system can't spell names no file.
    }
}

} // namespace

int32_t testToneLength(const TestToneSettings &settings) {
    return boundedInteger(settings.toneLengthSeconds * settings.toneSampleRate + 0.5, 0, INT32_MAX);
}

MeasureOutcome writeTestTone(const char *path, const TestToneSettings &settings,
                             const MeasureProgress &progress) {
    if (!hostFunctions.PCM_Sink_Create)
        return MeasureOutcome::unavailable;

    WaveFormatBlock format;
    format.bitDepth = static_cast<uint8_t>(settings.toneBitDepth);
    const int32_t fileRate = boundedInteger(settings.toneSampleRate, INT32_MIN, INT32_MAX);
    HostObjectPtr<MediaSink> sink(
        hostFunctions.PCM_Sink_Create(path, &format, sizeof format, 1, fileRate, 0));
    if (!sink)
        return MeasureOutcome::toneFileFailed;

    const int32_t total = testToneLength(settings);
    if (writeSweep(*sink, settings.toneSampleRate, total, progress))
        return MeasureOutcome::done;
    sink.reset();
    removeFile(path);
    return MeasureOutcome::cancelled;
}

} // namespace tonvale
