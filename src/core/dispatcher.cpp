#include "core/dispatcher.h"

#include "core/reverb_plugin.h"
#include "core/state_chunk.h"
#include "core/vendor_commands.h"
#include "host/localized_text.h"
#include "host/vendor_protocol.h"
#include "text/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

// Every entry by which a host gets in from C, with the catch that no exception passes.

namespace tonvale {

namespace {

constexpr int32_t effectFlags = 0x0001    // has an editor
                                | 0x0010  // replaces its output
                                | 0x0020  // its state is a chunk
                                | 0x1000; // in double precision

constexpr const char *effectName = "Tonvale";
constexpr const char *vendorName = "Keldry";
constexpr int32_t nameSize = 32;
constexpr intptr_t categoryEffect = 1;

constexpr const char *abilities[] = {
    "hasKeldryViewAsConfig",
    "hasKeldryExtensions",
    "supportsKeldryChanConfig",
};

intptr_t copyText(void *out, const char *text, int32_t size) {
    if (out)
        TextWriter(static_cast<char *>(out), size).add(text);
    return 0;
}

/// A text of a parameter's row, translated; empty for an index that is none.
intptr_t copyRowText(int32_t index, void *out, const char *ParamRow::*text) {
    const ParamRow *row = paramRow(index);
    return copyText(out, row ? localizedText(row->*text, "tonvale", 0) : "", paramTextSize);
}

intptr_t answerCanDo(const char *ability) {
    if (!ability)
        return 0;
    const auto isAsked = [ability](const char *own) { return std::strcmp(own, ability) == 0; };
    return std::any_of(std::begin(abilities), std::end(abilities), isAsked) ? canDoAnswer : 0;
}

void setSampleRate(ReverbPlugin &plugin, double rate) {
    {
        CriticalScope audioScope(plugin.audioLock);
        if (std::isfinite(rate) && rate > 0.0)
            plugin.sampleRate = rate;
        plugin.applyDelayChange();
    }
    if (plugin.rebuildImpulse())
        plugin.resetAudioState();
}

intptr_t dispatch(ReverbPlugin &plugin, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                  float opt) {
    switch (opcode) {
    case effGetParamLabel:
        return copyRowText(index, ptr, &ParamRow::unit);
    case effGetParamName:
        return copyRowText(index, ptr, &ParamRow::name);
    case effGetParamDisplay:
        if (ptr) {
            const double shown = paramRow(index) ? double{plugin.params[index]} : 0.0;
            paramDisplayText(index, shown, static_cast<char *>(ptr));
        }
        return 0;
    case effSetSampleRate:
        setSampleRate(plugin, opt);
        return 0;
    case effMainsChanged:
    case effStopProcess:
        if (value == 0)
            plugin.resetAudioState();
        return 0;
    case effEditOpen:
        return openEditor(plugin, static_cast<HWND>(ptr)) ? 1 : 0;
    case effEditClose:
        plugin.editor.close();
        return 0;
    case effGetChunk:
        return ptr ? saveChunk(plugin, static_cast<void **>(ptr)) : 0;
    case effSetChunk:
        if (ptr)
            loadChunk(plugin, ptr, static_cast<int32_t>(std::clamp<intptr_t>(value, 0, INT32_MAX)));
        return 0;
    case effCanBeAutomated:
        return paramRow(index) ? 1 : 0;
    case effGetPlugCategory:
        return categoryEffect;
    case effGetEffectName:
    case effGetProductString:
        return copyText(ptr, effectName, nameSize);
    case effGetVendorString:
        return copyText(ptr, vendorName, nameSize);
    case effVendorSpecific:
        return dispatchVendorCommand(plugin, index, value, ptr, opt);
    case effCanDo:
        return answerCanDo(static_cast<const char *>(ptr));
    case effGetTailSize:
        // Wet leads dry by the Pre-verb.
        return std::max(1, plugin.impulseLength - plugin.preverbSamples);
    case effIdle:
        if (plugin.rebuildPending)
            plugin.rebuildImpulse(true);
        return 0;
    default:
        return 0;
    }
}

ReverbPlugin *pluginOf(AEffect *effect) {
    return static_cast<ReverbPlugin *>(effect->user);
}

intptr_t dispatchEffect(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                        float opt) {
    ReverbPlugin *plugin = pluginOf(effect);
    if (!plugin)
        return 0;
    if (opcode == effClose) {
        plugin->close();
        return 0;
    }
    try {
        return dispatch(*plugin, opcode, index, value, ptr, opt);
    } catch (const std::exception &) {
        return 0;
    }
}

/// For audio in single precision, which this effect doesn't do: outputs stay as they are.
void leaveOutputs(AEffect *, float **, float **, int32_t) {}

/// A host's array of channels, or one of nulls.
double *const *channelsOf(double **given) {
    static constexpr double *none[maxChannels] = {};
    return given ? given : none;
}

void processDoubleReplacing(AEffect *effect, double **inputs, double **outputs, int32_t frames) {
    ReverbPlugin *plugin = pluginOf(effect);
    if (!plugin)
        return;
    try {
        plugin->processAudio(channelsOf(inputs), channelsOf(outputs), frames);
    } catch (const std::exception &) {
        // What the block still lacked is silence.
        for (int32_t c = 0; c < loadRelaxed(effect->numOutputs); ++c) {
            if (double *out = channelsOf(outputs)[c])
                std::fill_n(out, std::max(frames, 0), 0.0);
        }
    }
}

void setEffectParameter(AEffect *effect, int32_t index, float value) {
    ReverbPlugin *plugin = pluginOf(effect);
    // What isn't a finite number is no value at all, and would sound for as long as it stays.
    if (plugin && paramRow(index) && std::isfinite(value))
        plugin->setParameter(index, value);
}

float getEffectParameter(AEffect *effect, int32_t index) {
    ReverbPlugin *plugin = pluginOf(effect);
    if (!plugin || !paramRow(index))
        return 0.0f;
    CriticalScope audioScope(plugin->audioLock);
    return static_cast<float>(plugin->params[index]);
}

} // namespace

void fillEffectRecord(AEffect &effect, ReverbPlugin &plugin) {
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
    effect.user = &plugin;
    effect.uniqueID = fourBytes("lvnt");
    effect.version = 1100;
    effect.processReplacing = leaveOutputs;
    effect.processDoubleReplacing = processDoubleReplacing;
}

} // namespace tonvale
