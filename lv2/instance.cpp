#include "lv2/instance.h"

#include "core/parameters.h"
#include "platform/flush_to_zero.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

namespace tonvale::lv2 {

namespace {

constexpr double fadeSeconds = 0.05;
constexpr double bypassSeconds = 0.02;
constexpr int32_t shortestPiece = 64;

/// Blocks are taken in pieces of what the host announced as its longest one.
int32_t announcedBlock(const LV2_Options_Option *option, const Urids &urids) {
    for (; option && option->key; ++option) {
        if (option->key != urids.maxBlockLength || option->type != urids.atomInt ||
            option->size != sizeof(int32_t) || !option->value)
            continue;
        int32_t length;
        std::memcpy(&length, option->value, sizeof length);
        return std::clamp(length, shortestPiece, longestPiece);
    }
    return longestPiece;
}

} // namespace

HostFeatures::HostFeatures(const LV2_Feature *const *features) {
    const auto take = [](const LV2_Feature &feature, const char *uri, auto &place) {
        if (std::strcmp(feature.URI, uri) == 0)
            place = static_cast<std::remove_reference_t<decltype(place)>>(feature.data);
    };
    for (; features && *features; ++features) {
        take(**features, LV2_URID__map, map);
        take(**features, LV2_WORKER__schedule, schedule);
        take(**features, LV2_OPTIONS__options, options);
        take(**features, LV2_LOG__log, log);
    }
}

Instance::Instance(const PluginKind &of, double rate, const HostFeatures &features)
    : kind(of)
    , urids(*features.map, of)
    , host(features)
    , longestBlock(announcedBlock(features.options, urids))
    , fadeLength(fadeSeconds * rate)
    , bypassLength(bypassSeconds * rate)
    , loader(of, rate,
             [this](const std::string &problem) {
                 if (host.log)
                     host.log->printf(host.log->handle, urids.logWarning, "Tonvale: %s\n",
                                      problem.c_str());
             })
    , past(of.inputs.channels.size(), mostLatency(rate), longestPiece)
    , room(3 * mostPorts * longestPiece) {
    for (size_t c = 0; c < mostPorts; ++c) {
        in[c] = room.data() + 3 * c * longestPiece;
        out[c] = in[c] + longestPiece;
        next[c] = out[c] + longestPiece;
    }
    loader.work();
    adoptOutcome();
    if (!voice)
        throw std::bad_alloc();
    allIsNew = false;
    if (!host.schedule)
        thread = std::make_unique<LoaderThread>([this] { loader.work(); });
}

Instance::~Instance() = default;

void Instance::connect(uint32_t port, void *data) {
    if (port < ports.size())
        ports[port] = data;
}

void Instance::activate() {
    isFresh = true;
    if (incoming) {
        std::swap(voice, incoming->voice);
        incoming.reset();
    }
    loader.work();
    adoptOutcome();
    loader.work();
    voice->restart(out.data());
    past.clear();
    isActive = true;
}

void Instance::restore(const ChainText &chain, const LV2_Worker_Schedule *schedule) {
    loader.wish(chain);
    const uint32_t token = 0;
    if (isActive && schedule &&
        schedule->schedule_work(schedule->handle, sizeof token, &token) == LV2_WORKER_SUCCESS)
        return;
    loader.work();
}

Settings Instance::readSettings() const {
    Settings read{};
    for (const ControlRow &row : controlRows()) {
        if (row.parameter < 0)
            continue;
        const double value = controlValue(row, static_cast<const float *>(ports[row.port]));
        read[static_cast<size_t>(row.parameter)] = static_cast<float>(normalised(row, value));
    }
    return read;
}

bool Instance::isOn(PortIndex port) const {
    for (const ControlRow &row : controlRows()) {
        if (row.port == port)
            return controlValue(row, static_cast<const float *>(ports[port])) > 0.0;
    }
    return false;
}

void Instance::run(uint32_t frames) {
    const FlushToZeroScope flushScope;
    settings = readSettings();
    readMessages();
    seeToVoice();
    if (isFresh) {
        voice->beginWith(settings);
        voiceSettings[paramPreverb] = settings[paramPreverb];
        presence = isOn(portEnabled) ? 1.0 : 0.0;
    }
    for (uint32_t done = 0; done < frames;) {
        const auto piece =
            static_cast<int32_t>(std::min(frames - done, static_cast<uint32_t>(longestBlock)));
        play(done, piece);
        done += static_cast<uint32_t>(piece);
        isFresh = false;
    }
    if (auto *told = static_cast<float *>(ports[portLatency]))
        *told = static_cast<float>(latency());
    writeAnswers();
}

void Instance::readMessages() {
    PatchReader reader(urids, static_cast<const LV2_Atom_Sequence *>(ports[portControl]));
    while (const auto message = reader.next()) {
        if (!message->isSet) {
            if (message->property)
                answers.ask(*message->property);
            else
                answers.askAll();
            continue;
        }
        const bool isTaken = message->property == propertyResponse ? wish.setFile(message->text)
                                                                   : wish.set(message->text);
        if (!isTaken)
            continue;
        wishWaits = true;
        shown = wish;
    }
    if (wishWaits && loader.tryWish(wish))
        wishWaits = false;
}

/// Has the voice made that wish and ports ask for, and lets it in.
void Instance::seeToVoice() {
    loader.askFor(settings);
    adoptOutcome();
    const bool isFreewheeling = isOn(portFreewheel);
    if (incoming || (loader.busy && !isFreewheeling))
        return;
    // One that was made during a fade is let in once what served before is freed.
    if (!loader.hasOutcome()) {
        // What a fresh voice begins with needs no other one.
        Settings present = voiceSettings;
        if (isFresh)
            present[paramPreverb] = settings[paramPreverb];
        const bool isOther = needsAnotherVoice(settings, present);
        if (!isOther && loader.wishNumber() == voiceWish && loader.canRetire())
            return;
        if (isOther)
            loader.askForAnotherVoice();
    }
    if (isFreewheeling) {
        loader.work();
    } else {
        loader.busy = true;
        if (!handOutJob())
            loader.busy = false;
    }
    adoptOutcome();
}

bool Instance::handOutJob() {
    if (thread) {
        thread->wake();
        return true;
    }
    const uint32_t token = 0;
    return host.schedule->schedule_work(host.schedule->handle, sizeof token, &token) ==
           LV2_WORKER_SUCCESS;
}

void Instance::adoptOutcome() {
    if (incoming || !loader.hasOutcome() || !loader.canRetire())
        return;
    std::unique_ptr<Loaded> made(loader.takeOutcome());
    voiceWish = made->wish;
    voiceSettings = made->settings;
    std::swap(report, made->report);
    allIsNew = true;
    if (made->voice && !isFresh) {
        const int32_t late = made->voice->latency();
        listened = 0;
        faded = late > 0 ? -late - static_cast<int32_t>(fadeLength) : 0;
        incoming = std::move(made);
        return;
    }
    if (made->voice)
        std::swap(voice, made->voice);
    loader.retire(made.release());
}

void Instance::play(uint32_t offset, int32_t frames) {
    readInputs(offset, frames);
    past.write(in.data(), frames);
    voice->follow(settings);
    voice->process(in.data(), out.data(), frames);
    const int32_t late = voice->latency();
    const Change change{late, incoming ? incoming->voice->latency() : late, faded};
    if (incoming)
        crossfade(frames);
    bypass(frames, change);
    writeOutputs(offset, frames);
}

void Instance::readInputs(uint32_t offset, int32_t frames) {
    for (size_t c = 0; c < kind.inputs.channels.size(); ++c) {
        const auto *port = static_cast<const float *>(ports[firstAudioPort + c]);
        for (int32_t i = 0; i < frames; ++i) {
            const float sample = port ? port[offset + static_cast<uint32_t>(i)] : 0.0f;
            // What isn't finite would sound for as long as the response is.
            in[c][i] = std::isfinite(sample) ? sample : 0.0f;
        }
    }
}

/// What comes to the new voice begins softly, so that no echo of its begins hard. One without
/// latency thereby comes in as the old one goes; any other listens until it has the dry signal that
/// is on its way, and then takes over.
void Instance::crossfade(int32_t frames) {
    const bool isPrompt = incoming->voice->latency() == 0;
    const auto gainAt = [this](int32_t position) {
        return std::clamp(position / fadeLength, 0.0, 1.0);
    };
    for (size_t c = 0; c < kind.inputs.channels.size(); ++c)
        for (int32_t i = 0; i < frames; ++i)
            in[c][i] *= gainAt(listened + i);
    listened = std::min(listened + frames, static_cast<int32_t>(fadeLength) + 1);
    incoming->voice->follow(settings);
    incoming->voice->process(in.data(), next.data(), frames);
    for (size_t c = 0; c < kind.outputs.channels.size(); ++c) {
        for (int32_t i = 0; i < frames; ++i) {
            const double gain = gainAt(faded + i);
            out[c][i] = (1.0 - gain) * out[c][i] + (isPrompt ? 1.0 : gain) * next[c][i];
        }
    }
    faded += frames;
    if (faded < fadeLength)
        return;
    std::swap(voice, incoming->voice);
    loader.retire(incoming.release());
}

/// The untreated signal goes from latency to latency as the response does.
void Instance::bypass(int32_t frames, const Change &change) {
    const double target = isOn(portEnabled) ? 1.0 : 0.0;
    if (presence == target && target == 1.0)
        return;
    const double step = 1.0 / bypassLength;
    const size_t inputs = kind.inputs.channels.size();
    const double start = presence;
    for (size_t c = 0; c < kind.outputs.channels.size(); ++c) {
        presence = start;
        for (int32_t i = 0; i < frames; ++i) {
            presence = target > presence ? std::min(presence + step, target)
                                         : std::max(presence - step, target);
            double untreated = past.at(c % inputs, frames, i, change.before);
            if (change.after != change.before) {
                const double gain = std::clamp((change.faded + i) / fadeLength, 0.0, 1.0);
                untreated += gain * (past.at(c % inputs, frames, i, change.after) - untreated);
            }
            out[c][i] =
                presence == 0.0 ? untreated : untreated + presence * (out[c][i] - untreated);
        }
    }
}

void Instance::writeOutputs(uint32_t offset, int32_t frames) {
    constexpr double most = std::numeric_limits<float>::max();
    const size_t first = firstAudioPort + kind.inputs.channels.size();
    for (size_t c = 0; c < kind.outputs.channels.size(); ++c) {
        auto *port = static_cast<float *>(ports[first + c]);
        for (int32_t i = 0; port && i < frames; ++i)
            port[offset + static_cast<uint32_t>(i)] =
                static_cast<float>(std::clamp(out[c][i], -most, most));
    }
}

void Instance::writeAnswers() {
    if (allIsNew) {
        const bool isOld = wishWaits || loader.wishNumber() != voiceWish;
        if (isOld || loader.tryRead(shown)) {
            answers.askAll();
            allIsNew = false;
        }
    }
    answers.write(static_cast<LV2_Atom_Sequence *>(ports[portNotify]), urids, report, shown.view());
}

int32_t Instance::latency() const {
    return incoming && faded >= 0 ? incoming->voice->latency() : voice->latency();
}

} // namespace tonvale::lv2
