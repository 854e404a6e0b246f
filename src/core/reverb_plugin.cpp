#include "core/reverb_plugin.h"

#include "convolution/containers/bounded_integer.h"
#include "core/module_state.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace tonvale {

namespace {

/// A host can ask for any Pre-verb at any sample rate; the dry signal waits in memory for that
/// long.
constexpr int32_t maxPreverbSamples = 1 << 24;

constexpr int32_t effectFlags = 0x0001    // has an editor
                                | 0x0010  // replaces its output
                                | 0x0020  // its state is a chunk
                                | 0x1000; // in double precision

/// For audio in single precision, which this effect doesn't do: outputs stay as they are.
void leaveOutputs(AEffect *, float **, float **, int32_t) {}

void processDoubleReplacing(AEffect *effect, double **inputs, double **outputs, int32_t frames) {
    auto *plugin = static_cast<ReverbPlugin *>(effect->user);
    if (!plugin)
        return;
    try {
        plugin->processAudio(inputs, outputs, frames);
    } catch (const std::bad_alloc &) {
        // What the block still lacked is silence.
        for (int32_t c = 0; c < effect->numOutputs; ++c) {
            if (outputs[c])
                std::fill_n(outputs[c], std::max(frames, 0), 0.0);
        }
    }
}

void setEffectParameter(AEffect *effect, int32_t index, float value) {
    auto *plugin = static_cast<ReverbPlugin *>(effect->user);
    // What isn't a number is no value at all, and would sound for as long as it stays.
    if (!plugin || !paramRow(index) || std::isnan(value))
        return;
    try {
        plugin->setParameter(index, value);
    } catch (const std::bad_alloc &) {
        // The old engines go on.
    }
}

float getEffectParameter(AEffect *effect, int32_t index) {
    auto *plugin = static_cast<ReverbPlugin *>(effect->user);
    if (!plugin || !paramRow(index))
        return 0.0f;
    CriticalScope audioScope(plugin->audioLock);
    return static_cast<float>(plugin->params[index]);
}

} // namespace

ReverbPlugin::ReverbPlugin() {
    for (int32_t i = 0; i < paramCount; ++i)
        params[i] = plainToParam(i, paramRow(i)->defaultValue);
    impulse.setNumChannels(1, false);

    effect.magic = fourBytes("PtsV");
    effect.dispatcher = dispatchEffect;
    effect.process = leaveOutputs;
    effect.setParameter = setEffectParameter;
    effect.getParameter = getEffectParameter;
    effect.numPrograms = 1;
    effect.numParams = paramCount;
    effect.numInputs = 2;
    effect.numOutputs = 2;
    effect.flags = effectFlags;
    effect.user = this;
    effect.uniqueID = fourBytes("lvnt");
    effect.version = 1100;
    effect.processReplacing = leaveOutputs;
    effect.processDoubleReplacing = processDoubleReplacing;

    applyDelayChange();
    effect.initialDelay = 0;
    rebuildImpulse();
    resetAudioState();

    addEditorUser();
    moduleState().instanceList.add(this);
}

ReverbPlugin::~ReverbPlugin() {
    stopWorker();
    clearTailQueues();
    ModuleState &module = moduleState();
    module.instanceList.remove(module.instanceList.find(this));
    editor.close();
    stages.clear(true);
    tailEngine.reset();
    uniformEngine.reset();
    zlEngine.reset();
    removeEditorUser();
}

void ReverbPlugin::tellHostOfChange() {
    if (const HostCallback callback = moduleState().audioMaster)
        callback(&effect, audioMasterAutomate, -1, 0, nullptr, 0.0f);
}

void ReverbPlugin::setReportedLatency(int32_t samples) {
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
    preverbSamples = boundedInteger(samples, -maxPreverbSamples, maxPreverbSamples);
    setReportedLatency(std::max(engineLatency + preverbSamples, effect.initialDelay));
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

intptr_t hostContext(ReverbPlugin *owner, int32_t item) {
    const HostCallback callback = moduleState().audioMaster;
    if (!callback || !owner)
        return 0;
    return callback(&owner->effect, hostLookupOpcode, hostLookupContext, item, nullptr, 0.0f);
}

void requestRebuildAtIdle(ReverbPlugin *owner) {
    if (!owner)
        return;
    owner->rebuildPending = 1;
    if (const HostCallback callback = moduleState().audioMaster)
        callback(&owner->effect, audioMasterNeedIdle, 0, 0, nullptr, 0.0f);
}

} // namespace tonvale
