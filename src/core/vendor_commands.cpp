#include "core/vendor_commands.h"

#include "convolution/containers/bounded_integer.h"
#include "core/module_state.h"
#include "core/reverb_plugin.h"
#include "host/vendor_protocol.h"
#include "text/number_text.h"

#include <cstring>
#include <memory>

// What Quorin can ask beyond VST: ranges and texts of values, the chain as text, channel counts.

namespace tonvale {

namespace {

constexpr const char *itemWord = "ITEM";
constexpr size_t itemWordLength = 4;
constexpr int32_t maxKeySize = 256; ///< with the terminator

intptr_t paramRange(intptr_t index, double *range) {
    const ParamRow *row =
        index >= 0 && index < paramCount ? paramRow(static_cast<int32_t>(index)) : nullptr;
    if (!row)
        return 0;
    // A gain can be automated up to twice.
    range[0] = 0.0;
    range[1] = row->minValue == decibelRow ? 2.0 : 1.0;
    return vendorParamAnswer;
}

intptr_t paramText(intptr_t index, char *text, float value) {
    const bool exists = index >= 0 && index < paramCount;
    paramDisplayText(exists ? static_cast<int32_t>(index) : -1, value, text);
    return exists ? vendorParamAnswer : 0;
}

intptr_t readStage(ReverbPlugin &plugin, const char *item, char *text, float size) {
    if (!item || !(size > 1.0f) || std::strncmp(item, itemWord, itemWordLength) != 0)
        return 0;
    const int32_t wanted = readInteger(item + itemWordLength);
    const int32_t room = boundedInteger(size, 0, INT32_MAX);
    int32_t place = 0;
    bool found = false;
    plugin.chain.forEach([&](ImpulseGenerator &stage) {
        if (place++ != wanted)
            return;
        stage.saveText(text, room);
        found = true;
    });
    return found ? vendorChainAnswer : 0;
}

/// A stage of the line "KEY values"; null for a key that is none.
ImpulseChain::Stage stageFromText(ReverbPlugin &plugin, const char *text) {
    const char *start = skipBlanks(text);
    const char *end = skipWord(start);
    const auto length = end - start;
    if (length < 1 || length >= maxKeySize)
        return nullptr;
    char key[maxKeySize];
    std::memcpy(key, start, static_cast<size_t>(length));
    key[length] = 0;
    ImpulseChain::Stage stage(createImpulseGenerator(key, &plugin));
    if (stage)
        stage->loadText(skipBlanks(end));
    return stage;
}

intptr_t deleteStages(ReverbPlugin &plugin, const char *which) {
    if (*which == '*') {
        plugin.removeAllStages();
        return vendorChainAnswer;
    }
    const int32_t index = readInteger(which);
    if (index < 0)
        return 0;
    plugin.retire(plugin.chain.take(index));
    return vendorChainAnswer;
}

/// Puts a new stage in front of the one at `index`, or with `replace` in its place; at the end
/// where there is none.
intptr_t putStage(ReverbPlugin &plugin, int32_t index, bool replace, const char *text) {
    if (index < 0)
        return 0;
    ImpulseChain::Stage stage = stageFromText(plugin, text);
    const ImpulseGenerator *made = stage.get();
    if (!made)
        return 0;
    if (replace)
        plugin.chain.replace(index, stage);
    else
        plugin.chain.insert(index, stage);
    const bool isPut = stage.get() != made;
    plugin.retire(std::move(stage));
    return isPut ? vendorChainAnswer : 0;
}

intptr_t finishChain(ReverbPlugin &plugin) {
    if (plugin.rebuildImpulse()) {
        plugin.tellHostOfChange();
        if (moduleState().instanceList.find(&plugin) >= 0)
            plugin.editor.postReload();
    }
    return vendorChainAnswer;
}

intptr_t changeChain(ReverbPlugin &plugin, const char *command, const char *text) {
    if (!command)
        return 0;
    if (std::strcmp(command, "DONE") == 0)
        return finishChain(plugin);
    const char prefix = *command == '-' || *command == '+' ? *command++ : '\0';
    if (std::strncmp(command, itemWord, itemWordLength) != 0)
        return 0;
    command += itemWordLength;
    if (prefix == '-')
        return deleteStages(plugin, command);
    return putStage(plugin, readInteger(command), prefix != '+', text);
}

intptr_t channelConfig(ReverbPlugin &plugin, int32_t *count, int32_t *result, float set) {
    AEffect &effect = plugin.effect;
    if (count) {
        if (set == 1.0f && *count >= 1 && *count <= maxChannels) {
            storeRelaxed(effect.numInputs, *count);
            storeRelaxed(effect.numOutputs, *count);
        }
        *count = loadRelaxed(effect.numInputs);
    }
    const int32_t channels = plugin.impulseChannels;
    const int32_t told = channels > 2 ? 0 : channels;
    if (result)
        *result = told;
    if (told == 1)
        return 4;
    return told == 2 ? 8 : 1;
}

} // namespace

intptr_t dispatchVendorCommand(ReverbPlugin &plugin, int32_t index, intptr_t value, void *ptr,
                               float opt) {
    if (index == vendorChannelConfig) {
        return channelConfig(plugin, reinterpret_cast<int32_t *>(value),
                             static_cast<int32_t *>(ptr), opt);
    }
    if (!ptr)
        return 0;
    const char *words = reinterpret_cast<const char *>(value);
    switch (index) {
    case vendorParamRange:
        return paramRange(value, static_cast<double *>(ptr));
    case vendorParamText:
        return paramText(value, static_cast<char *>(ptr), opt);
    case vendorReadStage:
        return readStage(plugin, words, static_cast<char *>(ptr), opt);
    case vendorChangeChain:
        return changeChain(plugin, words, static_cast<const char *>(ptr));
    default:
        return 0;
    }
}

} // namespace tonvale
