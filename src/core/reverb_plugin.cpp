#include "core/reverb_plugin.h"

#include "chain/stage_owner.h"
#include "convolution/containers/bounded_integer.h"
#include "convolution/containers/raw_memory.h"
#include "core/dispatcher.h"
#include "core/module_state.h"

#include <algorithm>
#include <exception>
#include <new>

namespace tonvale {

namespace {

/// A host can ask for any Pre-verb at any sample rate; the dry signal waits in memory for that
/// long.
constexpr int32_t maxPreverbSamples = 1 << 24;

/// A rebuild that failed this often in a row waits for the next change: each one costs the thread
/// of the host's idle calls a whole run of the chain.
constexpr int32_t mostRetries = 3;

} // namespace

ReverbPlugin::ReverbPlugin() {
    for (int32_t i = 0; i < paramCount; ++i)
        params[i] = plainToParam(i, paramRow(i)->defaultValue);
    fillEffectRecord(effect, *this);
    applyDelayChange();
    if (!rebuildOnce() || !enlist(*this))
        throw std::bad_alloc();
    resetAudioState();
    addEditorUser();
}

ReverbPlugin::~ReverbPlugin() {
    audio.tail.stop();
    strike(*this);
    editor.close();
    // While the instance is whole, since a stage that goes talks to the host.
    removeAllStages();
    removeEditorUser();
}

void ReverbPlugin::close() {
    {
        CriticalScope rebuildScope(rebuildLock);
        closing = rebuilding;
    }
    if (!closing) {
        delete this;
        return;
    }
    strike(*this);
    editor.close();
}

/// Under audioLock.
AudioPath::Settings ReverbPlugin::audioSettings() {
    return {.channels = std::clamp(loadRelaxed(effect.numInputs), 1, maxChannels),
            .delay = effect.initialDelay,
            .preverb = preverbSamples,
            .wet = params[paramWet],
            .dry = params[paramDry],
            .width = params[paramWidth] * 2.0 - 1.0,
            .pan = params[paramPan] * 2.0 - 1.0};
}

void ReverbPlugin::processAudio(const double *const *inputs, double *const *outputs,
                                int32_t frames) {
    CriticalScope audioScope(audioLock);
    audio.process(inputs, outputs, std::max(frames, 0), audioSettings());
}

void ReverbPlugin::resetAudioState() {
    CriticalScope audioScope(audioLock);
    audio.reset();
    reportLatency(audio.engineLatency() + preverbSamples);
    audio.settleGains(audioSettings());
    editor.forgetGesture();
}

void ReverbPlugin::settleGains() {
    CriticalScope audioScope(audioLock);
    audio.settleGains(audioSettings());
}

void ReverbPlugin::reportLatency(int32_t samples) {
    // The host reads it when it likes.
    storeRelaxed(effect.initialDelay, samples);
}

void ReverbPlugin::applyDelayChange() {
    CriticalScope audioScope(audioLock);
    for (const int32_t gain : {paramWet, paramDry}) {
        if (params[gain] <= silentGain)
            params[gain] = 0.0;
    }

    const int32_t before = preverbSamples;
    const double samples = paramToPlain(paramPreverb, params[paramPreverb]) * 0.001 * sampleRate;
    preverbSamples = boundedInteger(samples, 0, maxPreverbSamples);
    reportLatency(std::max(audio.engineLatency() + preverbSamples, effect.initialDelay));
    if (preverbSamples != before)
        editor.redrawDisplay();
}

void ReverbPlugin::setParameter(int32_t index, double value) {
    bool flipped = false;
    {
        CriticalScope audioScope(audioLock);
        flipped = isOn(params[index]) != isOn(value);
        params[index] = value;
        applyDelayChange();
        editor.pendingControlMask.setBits(1u << index);
    }
    // Outside of audioLock: a rebuild takes its own locks ahead of that one.
    if (flipped && (index == paramZeroLatency || index == paramLowLatency))
        rebuildImpulse();
}

bool ReverbPlugin::rebuildImpulse(bool isRetry) noexcept {
    rebuildPending = 0;
    bool retry = false;
    bool ended = false;
    {
        CriticalScope rebuildScope(rebuildLock);
        rebuildAgain = rebuilding;
        if (rebuilding)
            return true;
        rebuilding = true;
        if (!isRetry)
            failedRebuilds = 0;
        bool done = rebuildOnce();
        if (std::exchange(rebuildAgain, false) && !closing)
            done = rebuildOnce() && !rebuildAgain;
        rebuilding = false;
        failedRebuilds = done ? 0 : failedRebuilds + 1;
        retry = !done && failedRebuilds <= mostRetries;
        ended = closing;
    }
    if (ended) {
        delete this;
        return false;
    }
    if (!retry)
        return true;
    requestRebuildAtIdle(this);
    return isAlive(*this);
}

/// Answers false, and leaves response and engines as they were, where memory ran out.
bool ReverbPlugin::rebuildOnce() noexcept {
    const bool done = replaceResponse();
    if (!audio.tail.isActive())
        audio.tail.stop();
    if (done)
        editor.displayDirty = 1;
    return done;
}

bool ReverbPlugin::replaceResponse() noexcept {
    try {
        const int32_t lostBefore = lostRequests();
        ImpulseBuffer fresh;
        chain.run(fresh, sampleRate);
        const int32_t channels = std::clamp(loadRelaxed(effect.numInputs), 1, maxChannels);
        EngineWishes wishes = engineWishes(params, fresh.getLength(), channels);
        wishes.useTail = wishes.useTail && audio.tail.start(wishes.split, channels);
        EngineSet next = buildEngines(fresh, wishes);
        const int32_t primed = presentPreroll();
        AudioPath::prime(next, primed, channels);
        // A stage that never gets its memory doesn't hold up the others for good.
        if (!next.main || (lostRequests() != lostBefore && failedRebuilds < mostRetries))
            return false;
        exchangeEngines(next, primed, channels);
        impulse.swap(fresh);
        impulseLength = impulse.getLength();
        impulseChannels = impulse.getNumChannels();
        return true;
    } catch (const std::exception &) {
        return false;
    }
}

/// The only moment that waits for audio and worker. The worker is waited for outside of audioLock,
/// so that no block is late for a cycle of it; only where it never rests, inside.
void ReverbPlugin::exchangeEngines(EngineSet &next, int32_t primed, int32_t channels) {
    constexpr int mostTries = 100;
    for (int tries = 1;; ++tries) {
        {
            CriticalScope audioScope(audioLock);
            if (audio.exchange(next, primed, channels, tries == mostTries)) {
                reportLatency(
                    std::max(audio.engineLatency() + preverbSamples, effect.initialDelay));
                return;
            }
        }
        audio.tail.awaitCycle();
    }
}

int32_t ReverbPlugin::presentPreroll() {
    CriticalScope audioScope(audioLock);
    return audio.wetPreroll();
}

void ReverbPlugin::retire(ImpulseChain::Stage stage) {
    editor.closeDialogOf(stage.get());
    chain.letGo(std::move(stage));
}

void ReverbPlugin::removeAllStages() {
    while (ImpulseChain::Stage last = chain.take(chain.getSize() - 1))
        retire(std::move(last));
}

void ReverbPlugin::tellHostOfChange() {
    if (const HostCallback callback = moduleState().audioMaster)
        callback(&effect, audioMasterAutomate, -1, 0, nullptr, 0.0f);
}

} // namespace tonvale
