#pragma once

#include "convolution/containers/heap_buffer.h"
#include "convolution/containers/relaxed.h"
#include "text/number_text.h"

#include <algorithm>
#include <cstring>
#include <span>

// The two saved forms of a list of settings: one after the other as little-endian values of type
// Stored, and as text.

namespace tonvale {

template <class Value>
using SettingList = std::span<Relaxed<Value> *const>;

/// Takes as many whole values as `size` bytes hold; nothing where those are under `fewest`.
template <class Stored, class Value>
void loadValues(SettingList<Value> settings, const void *data, int32_t size, int32_t fewest) {
    const auto present = static_cast<size_t>(std::max(size, 0)) / sizeof(Stored);
    if (present < static_cast<size_t>(fewest))
        return;
    for (size_t i = 0; i < std::min(present, settings.size()); ++i) {
        Stored value;
        std::memcpy(&value, static_cast<const char *>(data) + i * sizeof value, sizeof value);
        *settings[i] = value;
    }
}

template <class Stored, class Value>
void saveValues(SettingList<Value> settings, HeapBuffer &out) {
    const auto size = static_cast<int32_t>(settings.size() * sizeof(Stored));
    out.resize(size, false);
    if (out.getSize() != size)
        return;
    for (size_t i = 0; i < settings.size(); ++i) {
        const auto value = static_cast<Stored>(Value{*settings[i]});
        std::memcpy(static_cast<char *>(out.get()) + i * sizeof value, &value, sizeof value);
    }
}

inline void writeValue(TextWriter &writer, double value) {
    writer.addFixed(value, 6);
}

inline void writeValue(TextWriter &writer, int32_t value) {
    writer.addInteger(value);
}

inline void readValue(const char *text, Relaxed<double> &value) {
    value = readNumber(text);
}

inline void readValue(const char *text, Relaxed<int32_t> &value) {
    value = readInteger(text);
}

/// The type key, then each value behind a blank.
template <class Value>
void saveValuesText(SettingList<Value> settings, const char *key, char *text, int32_t size) {
    TextWriter writer(text, size);
    writer.add(key);
    for (const Relaxed<Value> *value : settings) {
        writer.add(" ");
        writeValue(writer, Value{*value});
    }
}

/// False where the text ends early; values behind that point keep what they hold.
template <class Value>
bool loadValuesText(SettingList<Value> settings, const char *text) {
    for (Relaxed<Value> *value : settings) {
        text = skipBlanks(text);
        if (!*text)
            return false;
        readValue(text, *value);
        text = skipWord(text);
    }
    return true;
}

} // namespace tonvale
