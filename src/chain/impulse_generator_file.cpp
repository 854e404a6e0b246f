#include "chain/impulse_generator_file.h"

#include "chain/as_memory_allows.h"
#include "chain/stage_owner.h"
#include "chain/status_stage.h"
#include "chain/window_messages.h"
#include "convolution/containers/bounded_integer.h"
#include "host/host_functions.h"
#include "host/host_object_ptr.h"
#include "host/localized_text.h"
#include "text/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

namespace tonvale {

namespace {

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_File>();

constexpr int32_t blockFrames = 1024;
constexpr double lowStartGain = 0.125;
/// Rates up to this far apart count as the same, Hz.
constexpr double sameRate = 1.0;
constexpr double leastPeak = 0.015625;
/// Below this a sum tells nothing of the resampler's gain.
constexpr double leastSum = 1e-5;
constexpr intptr_t resamplerMode = 4;

/// Null for no path, and where the host can't open it. Throws where memory is out.
std::shared_ptr<MediaSource> openSource(const std::string &path) {
    if (path.empty())
        return nullptr;
    return HostObjectPtr<MediaSource>(hostFunctions.PCM_Source_CreateFromFile(path.c_str()));
}

} // namespace

/// What one run reads.
struct ImpulseGenerator_File::Reading {
    MediaSource *source;
    double rate;       ///< of the run, Hz
    double sourceRate; ///< Hz
    double seconds;    ///< length of the source
    int32_t sourceChannels;
    int32_t channels; ///< as read
    int32_t total;    ///< frames wanted
    int32_t frames;   ///< frames read
    double gain;
    SampleBuffer samples; ///< interleaved

    bool ratesDiffer() const { return std::fabs(sourceRate - rate) > sameRate; }
    double *frame(int32_t index) const { return samples.get() + int64_t{index} * channels; }
};

ImpulseGenerator_File::ImpulseGenerator_File()
    : noFileText(localizedText("<no file loaded>", "tonvale", 0))
    , path(*this, [this] { reopen(); }) {
    std::snprintf(status, sizeof status, "%s", noFileText);
}

void ImpulseGenerator_File::loadState(const char *, const void *data, int32_t size) noexcept {
    int32_t savedFlags;
    if (size < static_cast<int32_t>(sizeof savedFlags))
        return;
    std::memcpy(&savedFlags, data, sizeof savedFlags);
    const char *text = static_cast<const char *>(data) + sizeof savedFlags;
    const size_t room = static_cast<size_t>(size) - sizeof savedFlags;
    asMemoryAllows([&] {
        loadPath({text, strnlen(text, room)});
        flags = savedFlags;
    });
}

void ImpulseGenerator_File::saveState(HeapBuffer &out) noexcept {
    const RegisteredPath::Text present = path.get();
    const int32_t savedFlags = flags;
    if (present->size() > INT32_MAX - sizeof savedFlags - 1)
        return;
    const auto size = static_cast<int32_t>(sizeof savedFlags + present->size() + 1);
    out.resize(size, false);
    if (out.getSize() != size)
        return;
    std::memcpy(out.get(), &savedFlags, sizeof savedFlags);
    std::memcpy(static_cast<char *>(out.get()) + sizeof savedFlags, present->c_str(),
                present->size() + 1);
}

void ImpulseGenerator_File::saveText(char *text, int32_t size) noexcept {
    TextWriter writer(text, size);
    writer.add(getTypeKey());
    writer.add(" \"");
    writer.add(path.get()->c_str());
    writer.add("\" ");
    writer.addInteger(flags);
}

bool ImpulseGenerator_File::loadText(const char *text) noexcept {
    text = skipBlanks(text);
    if (!*text)
        return false;
    const bool quoted = *text == '"' || *text == '\'';
    const char delimiter = quoted ? *text++ : ' ';
    const char *end = std::strchr(text, delimiter);
    const size_t length = end ? static_cast<size_t>(end - text) : std::strlen(text);
    const char *behind = end ? skipBlanks(end + 1) : "";

    bool taken = false;
    asMemoryAllows([&] {
        loadPath({text, length});
        if (*behind)
            flags = readInteger(behind);
        taken = true;
    });
    return taken;
}

/// The path of a saved form: the host resolves it, and a file that is open already stays open.
void ImpulseGenerator_File::loadPath(std::string_view saved) {
    const RegisteredPath::Text newPath = RegisteredPath::resolved(std::string(saved));
    Source opened = presentSource();
    if (!opened || compareIgnoringCase(path.get()->c_str(), newPath->c_str()) != 0)
        opened = openSource(*newPath);
    setFile(newPath, std::move(opened));
}

void ImpulseGenerator_File::replaceFile(const char *newPath) noexcept {
    asMemoryAllows([&] {
        const auto text = std::make_shared<const std::string>(newPath);
        setFile(text, openSource(*text));
    });
}

/// Comes behind all that needs memory, so that path and source change together or not at all.
void ImpulseGenerator_File::setFile(const RegisteredPath::Text &newPath, Source opened) noexcept {
    path.replace(newPath);
    putSource(newPath, std::move(opened));
}

void ImpulseGenerator_File::putSource(const RegisteredPath::Text &ofPath, Source opened) noexcept {
    // What `opened` ends up with is freed behind the lock. Another thread that has changed the path
    // since then brings the source of its own.
    CriticalScope scope(lock);
    if (path.get() == ofPath)
        source.swap(opened);
}

ImpulseGenerator_File::Source ImpulseGenerator_File::presentSource() {
    CriticalScope scope(lock);
    return source;
}

/// The host has moved the file.
void ImpulseGenerator_File::reopen() noexcept {
    asMemoryAllows([this] {
        const RegisteredPath::Text present = path.get();
        putSource(present, openSource(*present));
    });
    requestRebuildAtIdle(owner);
    dialog.post(fileRefreshMessage);
}

void ImpulseGenerator_File::process(ImpulseBuffer &impulse) noexcept {
    Source present; // freed behind the lock, where it was replaced meanwhile
    CriticalScope scope(lock);
    present = source;
    std::snprintf(status, sizeof status, "%s", noFileText);
    if (present)
        asMemoryAllows([&] { loadFile(impulse, *present); });
    dialog.post(stageStatusMessage);
}

void ImpulseGenerator_File::loadFile(ImpulseBuffer &impulse, MediaSource &from) {
    Reading reading{};
    reading.source = &from;
    reading.rate = impulse.sampleRate;
    reading.seconds = from.GetLength();
    reading.sourceChannels = from.GetNumChannels();
    reading.sourceRate = from.GetSampleRate();
    HostObjectPtr<ResamplerHandle> resampler;
    if (reading.ratesDiffer() && (flags & useResampler) && hostFunctions.Resampler_Create)
        resampler.reset(hostFunctions.Resampler_Create());
    if (resampler) {
        resampler->SetRates(reading.sourceRate, reading.rate);
        resampler->Extended(resamplerSetMode, resamplerMode, 0, 0);
    }

    reading.total = boundedInteger(std::ceil(reading.seconds * reading.rate), 0, maxFrames);
    reading.channels = std::min(reading.sourceChannels, flags & mixToMono ? 1 : maxSourceChannels);
    if (reading.channels < 1 || reading.total < 1)
        return;
    const int64_t needed = int64_t{reading.channels} * reading.total;
    if (needed > SampleBuffer::maxCount)
        return;
    reading.samples.resize(static_cast<int32_t>(needed), false);
    if (reading.samples.getSize() != needed)
        return;

    reading.gain = flags & startGainOne ? 1.0 : lowStartGain;
    if (resampler)
        readResampled(reading, *resampler);
    else
        readConverted(reading);
    if (reading.frames < 1)
        return;
    mix(impulse, reading);
    formatStatus(impulse, reading);
}

/// The source itself converts the rate.
void ImpulseGenerator_File::readConverted(Reading &reading) const {
    while (reading.frames < reading.total) {
        MediaReadBlock block{};
        block.time = reading.frames / reading.rate;
        block.sampleRate = reading.rate;
        block.channels = reading.channels;
        block.length = std::min(reading.total - reading.frames, blockFrames);
        block.samples = reading.frame(reading.frames);
        reading.source->GetSamples(&block);
        const int32_t delivered = std::clamp(block.samplesOut, 0, block.length);
        if (delivered < 1)
            break;
        reading.frames += delivered;
    }

    if (flags & normalisePeak) {
        double peak = leastPeak;
        for (const double *s = reading.frame(0); s < reading.frame(reading.frames); ++s)
            peak = std::max(peak, std::fabs(*s));
        reading.gain /= peak;
    } else if ((flags & sourceRateGain) && reading.ratesDiffer()) {
        reading.gain *= reading.sourceRate / reading.rate;
    }
}

/// A resampler of the host's converts, and what it does to the level is made up for.
void ImpulseGenerator_File::readResampled(Reading &reading, ResamplerHandle &resampler) const {
    const bool magnitudes = flags & compareMagnitudes;
    const auto sum = [magnitudes](const double *samples, int64_t count) {
        double total = 0.0;
        for (int64_t i = 0; i < count; ++i)
            total += magnitudes ? std::fabs(samples[i]) : samples[i];
        return total;
    };

    double sumIn = 0.0;
    double sumOut = 0.0;
    int64_t consumed = 0;
    while (reading.frames < reading.total) {
        const int32_t wanted = std::min(reading.total - reading.frames, blockFrames);
        double *place = nullptr;
        MediaReadBlock block{};
        block.length = resampler.Prepare(wanted, reading.channels, &place);
        int32_t delivered = 0;
        if (block.length > 0 && place) {
            block.time = static_cast<double>(consumed) / reading.sourceRate;
            block.sampleRate = reading.sourceRate;
            block.channels = reading.channels;
            block.samples = place;
            reading.source->GetSamples(&block);
            delivered = std::clamp(block.samplesOut, 0, block.length);
            sumIn += sum(place, int64_t{delivered} * reading.channels);
            consumed += delivered;
        }

        double *out = reading.frame(reading.frames);
        const int32_t got =
            std::clamp(resampler.Out(out, delivered, wanted, reading.channels), 0, wanted);
        sumOut += sum(out, int64_t{got} * reading.channels);
        reading.frames += got;
        if (got < 1 && delivered < 1)
            break;
    }

    if (magnitudes) {
        if (sumIn > leastSum && sumOut > leastSum)
            reading.gain *= sumIn / sumOut;
    } else if (std::fabs(sumIn) > static_cast<double>(consumed) * leastSum * reading.channels &&
               std::fabs(sumOut) > reading.total * leastSum * reading.channels) {
        reading.gain *= std::fabs(sumIn / sumOut);
    }
}

void ImpulseGenerator_File::mix(ImpulseBuffer &impulse, const Reading &reading) const {
    const int32_t offset = (flags >> 8) & 255;
    impulse.setNumChannels(std::max(reading.channels + offset, impulse.getNumChannels()),
                           offset == 0);
    if (impulse.setLength(std::max(reading.frames, impulse.getLength())) < 1)
        return;
    // Block by block, so that the interleaved samples are fetched from memory once for all
    // channels.
    for (int32_t first = 0; first < reading.frames; first += blockFrames) {
        const int32_t count = std::min(reading.frames - first, blockFrames);
        const auto add = [&](int32_t destination, int32_t from) {
            double *channel = impulse.getChannel(destination) + first;
            const double *samples = reading.frame(first) + from;
            for (int32_t i = 0; i < count; ++i)
                channel[i] += reading.gain * samples[int64_t{i} * reading.channels];
        };
        for (int32_t c = 0; c < reading.channels; ++c)
            add(offset + c, c);
        if (reading.channels == 1 && offset == 0 && impulse.getNumChannels() == 2)
            add(1, 0);
    }
}

void ImpulseGenerator_File::formatStatus(const ImpulseBuffer &impulse, const Reading &reading) {
    const auto hertz = [](double rate) { return boundedInteger(rate + 0.5, 0, INT32_MAX); };
    std::snprintf(status, sizeof status,
                  statusFormat("Source: %dHz %dch %.1fs\r\nOutput: %dHz %dch %.1fs"),
                  hertz(reading.sourceRate), reading.sourceChannels, reading.seconds,
                  hertz(reading.rate), impulse.getNumChannels(), reading.total / reading.rate);
}

} // namespace tonvale
