#include "core/reverb_plugin.h"

#include "convolution/containers/bounded_integer.h"
#include "host/localized_text.h"
#include "host/vendor_protocol.h"
#include "text/number_text.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tonvale {

namespace {

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
        plugin.sampleRate = rate;
        plugin.applyDelayChange();
    }
    plugin.rebuildImpulse();
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
        plugin.editor.close();
        return openEditor(plugin, static_cast<HWND>(ptr)) ? 1 : 0;
    case effEditClose:
        plugin.editor.close();
        return 0;
    case effGetChunk:
        return ptr ? plugin.saveChunk(static_cast<void **>(ptr)) : 0;
    case effSetChunk:
        plugin.loadChunk(ptr,
                         ptr ? static_cast<int32_t>(std::clamp<intptr_t>(value, 0, INT32_MAX)) : 0);
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
            plugin.rebuildImpulse();
        return 0;
    default:
        return 0;
    }
}

} // namespace

intptr_t dispatchEffect(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                        float opt) {
    auto *plugin = static_cast<ReverbPlugin *>(effect->user);
    if (!plugin)
        return 0;
    if (opcode == effClose) {
        delete plugin;
        return 0;
    }
    try {
        return dispatch(*plugin, opcode, index, value, ptr, opt);
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

} // namespace tonvale
