#include "chain/impulse_generator_edit.h"

#include "chain/as_memory_allows.h"
#include "convolution/containers/bounded_integer.h"
#include "host/host_functions.h"
#include "host/host_object_ptr.h"

#include <algorithm>
#include <cmath>

namespace tonvale {

namespace {

constexpr StageRow rowTable[] = {
    {"Gain", "dB", 1.0, decibelRow, decibelRow, 1074, 1005, 1, 1.0},
    {"Start position", "ms", 0.0, 0.0, 20000.0, 1072, 1003, 0, 3.0},
    {"Maximum length", "ms", 20000.0, 1.0, 20000.0, 1073, 1004, 0, 3.0},
    {"Stretch", "", 1.0, 0.1, 10.0, 1075, 1006, 2, 3.0},
    {"Pre-silence", "ms", 0.0, 0.0, 20000.0, 1076, 1007, 0, 3.0},
    {"Width", "", 1.0, -2.0, 2.0, 1077, 1008, 2, 1.0},
    {"Pan", "", 0.0, -1.0, 1.0, 1078, 1009, 2, 1.0},
};

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_Edit>();

// Settings nearer than this to the one that changes nothing are taken for it.
constexpr double stretchTolerance = 0.005;
constexpr double gainTolerance = 1e-6;
constexpr double widthTolerance = 0.001;
constexpr double panTolerance = 0.001;

constexpr double leastRatio = 0.001;
constexpr int32_t stretchBlock = 1024;

void trimStart(ImpulseBuffer &impulse, int32_t frames) {
    if (frames < 1)
        return;
    const int32_t rest = impulse.getLength() - frames;
    for (int32_t c = 0; rest > 0 && c < impulse.getNumChannels(); ++c) {
        double *samples = impulse.getChannel(c);
        std::copy_n(samples + frames, rest, samples);
    }
    impulse.setLength(rest);
}

/// Writes `count` interleaved frames from frame `first` on, silence behind the end.
void interleave(const ImpulseBuffer &impulse, int32_t first, int32_t count, double *out) {
    const int32_t present = std::min(count, impulse.getLength() - first);
    const size_t channels = static_cast<size_t>(impulse.getNumChannels());
    for (size_t c = 0; c < channels; ++c) {
        const double *samples = impulse.getChannel(static_cast<int32_t>(c)) + first;
        for (size_t i = 0; i < static_cast<size_t>(count); ++i)
            out[i * channels + c] = i < static_cast<size_t>(present) ? samples[i] : 0.0;
    }
}

void deinterleave(const double *samples, ImpulseBuffer &impulse) {
    const size_t channels = static_cast<size_t>(impulse.getNumChannels());
    for (size_t c = 0; c < channels; ++c) {
        double *out = impulse.getChannel(static_cast<int32_t>(c));
        for (size_t i = 0; i < static_cast<size_t>(impulse.getLength()); ++i)
            out[i] = samples[i * channels + c];
    }
}

/// Feeds the whole impulse through the resampler into `out`, which has room for `newLength`
/// interleaved frames, and answers how many came. What it still holds at the end is dropped.
int32_t resample(ResamplerHandle &resampler, const ImpulseBuffer &impulse, double *out,
                 int32_t newLength) {
    const int32_t length = impulse.getLength();
    const int32_t channels = impulse.getNumChannels();
    int32_t taken = 0;
    int32_t made = 0;
    while (taken < length) {
        const int32_t wanted = std::min(newLength - made, stretchBlock);
        double *place = nullptr;
        const int32_t count = resampler.Prepare(wanted, channels, &place);
        const bool fed = place && count > 0;
        if (fed) {
            interleave(impulse, taken, count, place);
            taken += std::min(count, length - taken);
        }
        const int32_t got =
            std::min(resampler.Out(out + static_cast<size_t>(made) * static_cast<size_t>(channels),
                                   count, wanted, channels),
                     wanted);
        made += std::max(got, 0);
        if (got < 1 && !fed)
            break;
    }
    return made;
}

/// May throw where memory is out, before it has changed anything.
void stretchTime(ImpulseBuffer &impulse, double stretch) {
    // Written so that no number at all is skipped too.
    if (!(std::abs(stretch - 1.0) > stretchTolerance))
        return;
    const double ratio = std::max(stretch, leastRatio);
    const int32_t length = impulse.getLength();
    int32_t newLength = boundedInteger(length * ratio + 0.5, 0, INT32_MAX);
    if (newLength == length || !hostFunctions.Resampler_Create)
        return;
    newLength = std::max(newLength, 1);
    if (newLength > SampleBuffer::maxCount / impulse.getNumChannels())
        return;

    const HostObjectPtr<ResamplerHandle> resampler(hostFunctions.Resampler_Create());
    if (!resampler)
        return;
    resampler->Reset();
    resampler->SetRates(impulse.sampleRate, ratio * impulse.sampleRate);

    const int32_t room = newLength * impulse.getNumChannels();
    SampleBuffer stretched;
    stretched.resize(room, false);
    if (stretched.getSize() != room)
        return;
    const int32_t made = resample(*resampler, impulse, stretched.get(), newLength);
    if (impulse.setLength(made) == made)
        deinterleave(stretched.get(), impulse);
}

void applyGain(ImpulseBuffer &impulse, double gain) {
    if (!(std::abs(gain - 1.0) > gainTolerance))
        return;
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c)
        scaleChannel(impulse, c, gain);
}

void prependSilence(ImpulseBuffer &impulse, int32_t frames) {
    const int32_t length = impulse.getLength();
    if (frames < 1 || frames > SampleBuffer::maxCount - length)
        return;
    if (impulse.setLength(length + frames) < 1)
        return;
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c) {
        double *samples = impulse.getChannel(c);
        std::copy_backward(samples, samples + length, samples + length + frames);
        std::fill_n(samples, frames, 0.0);
    }
}

void applyWidth(ImpulseBuffer &impulse, double width) {
    if (!(std::abs(width - 1.0) > widthTolerance))
        return;
    const double own = width * 0.5 + 0.5;
    const double other = 1.0 - own;
    for (int32_t c = 0; c + 1 < impulse.getNumChannels(); c += 2) {
        double *first = impulse.getChannel(c);
        double *second = impulse.getChannel(c + 1);
        for (int32_t i = 0; i < impulse.getLength(); ++i) {
            const double a = first[i];
            const double b = second[i];
            first[i] = own * a + other * b;
            second[i] = other * a + own * b;
        }
    }
}

void applyPan(ImpulseBuffer &impulse, double pan) {
    if (!(std::abs(pan) >= panTolerance))
        return;
    if (impulse.getNumChannels() < 2)
        impulse.setNumChannels(2, true);
    for (int32_t c = 0; c + 1 < impulse.getNumChannels(); c += 2) {
        scaleChannel(impulse, c, pan >= 0.0 ? 1.0 - pan : 1.0);
        scaleChannel(impulse, c + 1, pan < 0.0 ? 1.0 + pan : 1.0);
    }
}

} // namespace

ImpulseGenerator_Edit::ImpulseGenerator_Edit()
    : RowStage(rowTable, {&gain, &start, &maximumLength, &stretch, &preSilence, &width, &pan}, 4) {
    setDefaults();
}

double ImpulseGenerator_Edit::forecastSeconds() const {
    const double rest = std::max(0.0, inputSeconds - start * 0.001);
    return preSilence * 0.001 + std::min(maximumLength * 0.001, rest) * stretch;
}

void ImpulseGenerator_Edit::apply(ImpulseBuffer &impulse) {
    const double rate = impulse.sampleRate;
    inputSeconds = impulse.getLength() / rate;

    trimStart(impulse, framesOfMilliseconds(start, rate));
    impulse.setLength(std::min(framesOfMilliseconds(maximumLength, rate), impulse.getLength()));
    asMemoryAllows([&] { stretchTime(impulse, stretch); });
    applyGain(impulse, gain);
    prependSilence(impulse, framesOfMilliseconds(preSilence, rate));
    applyWidth(impulse, width);
    applyPan(impulse, pan);
}

} // namespace tonvale
