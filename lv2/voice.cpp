#include "lv2/voice.h"

#include "core/parameters.h"
#include "lv2/chain_chunk.h"

#include <algorithm>

namespace tonvale::lv2 {

namespace {

/// What a true stereo response leaves to each of both parts, as its channels 0 and 1: what comes to
/// the side that it went out from, and then what crosses.
constexpr const char *straightChannels = "CHANTOOL 3 1 1 1 2";
constexpr const char *crossingChannels = "CHANTOOL 2 0 1 1 2";
constexpr int32_t trueStereoChannels = 4;

constexpr int32_t playedParameters[] = {paramWet, paramDry, paramWidth, paramPan};
constexpr int32_t builtParameters[] = {paramPreverb, paramMaxFft, paramZeroLatency,
                                       paramLowLatency};
/// Behind so much the queues of an engine and its worker have their working size.
constexpr int32_t settlingFrames = 65536;

} // namespace

bool needsAnotherVoice(const Settings &a, const Settings &b) {
    return std::any_of(std::begin(builtParameters), std::end(builtParameters), [&](int32_t index) {
        return a[static_cast<size_t>(index)] != b[static_cast<size_t>(index)];
    });
}

std::unique_ptr<Voice> Voice::build(const PluginKind &kind, double rate, const Settings &settings,
                                    const std::vector<std::string> &chain, ResponseShape &shape) {
    std::unique_ptr<Voice> voice(new Voice(kind, settings));
    if (!voice->addPart(rate, chain))
        return nullptr;
    shape = probeResponse(*voice->parts[0], chain, rate);
    if (kind.crosses && shape.channels >= trueStereoChannels) {
        Effect &straight = *voice->parts[0];
        straight.appendStage(straightChannels);
        straight.finishChain();
        std::vector<std::string> lines = chain;
        lines.emplace_back(crossingChannels);
        if (!voice->addPart(rate, lines))
            return nullptr;
    }
    voice->second.resize(kind.outputs.channels.size() * longestPiece);
    for (size_t i = 0; i < voice->parts.size(); ++i)
        voice->settle(*voice->parts[i], i);
    return voice;
}

/// Brings its rooms to their size, and it to its settings.
void Voice::settle(Effect &part, size_t index) {
    const size_t channels = kind.outputs.channels.size();
    std::vector<double> room(channels * longestPiece);
    std::vector<double *> scratch;
    for (size_t c = 0; c < channels; ++c)
        scratch.push_back(room.data() + c * longestPiece);
    part.setChannels(static_cast<int32_t>(channels));
    part.setParameter(paramWidth, 0.25f);
    for (int32_t done = 0; done < settlingFrames; done += longestPiece)
        part.process(nullptr, scratch.data(), longestPiece);
    for (const int32_t parameter : playedParameters)
        set(index, parameter, settings[static_cast<size_t>(parameter)]);
    part.setParameter(paramPreverb, settings[paramPreverb]);
    part.reset();
}

bool Voice::addPart(double rate, const std::vector<std::string> &chain) {
    auto made = Effect::make(rate, static_cast<int32_t>(kind.outputs.channels.size()));
    if (!made)
        return false;
    Effect &part = *parts.emplace_back(std::move(made));

    // The dry signal gets its room for the longest Pre-verb while there is no response to play.
    part.setParameter(paramPreverb, 1.0f);
    for (int32_t done = 0; done < mostLatency(rate) + 4 * longestPiece; done += longestPiece)
        part.process(nullptr, nullptr, longestPiece);
    for (const int32_t parameter : builtParameters)
        part.setParameter(parameter, settings[static_cast<size_t>(parameter)]);
    part.reset();
    setChain(part, chain);
    part.reset();
    return true;
}

/// The dry signal is the first part's.
void Voice::set(size_t part, int32_t parameter, float value) {
    parts[part]->setParameter(parameter, parameter == paramDry && part > 0 ? 0.0f : value);
}

void Voice::set(int32_t parameter, float value) {
    for (size_t i = 0; i < parts.size(); ++i)
        set(i, parameter, value);
}

void Voice::follow(const Settings &next) {
    for (const int32_t parameter : playedParameters) {
        const auto index = static_cast<size_t>(parameter);
        if (settings[index] == next[index])
            continue;
        settings[index] = next[index];
        set(parameter, next[index]);
    }
}

void Voice::beginWith(const Settings &next) {
    const Settings before = settings;
    follow(next);
    if (settings[paramPreverb] != next[paramPreverb])
        set(paramPreverb, settings[paramPreverb] = next[paramPreverb]);
    if (settings == before)
        return;
    for (auto &part : parts)
        part->reset();
}

void Voice::restart(double *const *scratch) {
    for (auto &part : parts) {
        part->process(nullptr, const_cast<double **>(scratch), longestPiece);
        part->reset();
    }
}

void Voice::run(size_t part, double *const *in, double *const *out, int32_t frames) {
    double *inputs[mostPorts], *outputs[mostPorts];
    const size_t channels = kind.outputs.channels.size(), given = kind.inputs.channels.size();
    for (size_t c = 0; c < channels; ++c) {
        inputs[c] = in[(c + part) % given];
        outputs[c] = out[c];
    }
    parts[part]->process(inputs, outputs, frames);
}

void Voice::process(double *const *in, double *const *out, int32_t frames) {
    run(0, in, out, frames);
    if (parts.size() < 2)
        return;
    const size_t channels = kind.outputs.channels.size();
    double *crossing[mostPorts] = {};
    for (size_t c = 0; c < channels; ++c)
        crossing[c] = second.data() + c * longestPiece;
    run(1, in, crossing, frames);
    for (size_t c = 0; c < channels; ++c)
        for (int32_t i = 0; i < frames; ++i)
            out[c][i] += crossing[c][i];
}

} // namespace tonvale::lv2
