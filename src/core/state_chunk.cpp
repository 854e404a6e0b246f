#include "core/reverb_plugin.h"

#include "convolution/containers/bounded_integer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

// The state of an instance as bytes. A head of 32-bit floats comes first: minus the number of those
// that follow, the parameters, the channel count. Then the stages in order, each as a text key with
// its zero byte ("!" in front when bypassed), a 32-bit size and so many bytes of its own.

namespace tonvale {

namespace {

constexpr int32_t headFloats = paramCount + 1;
constexpr int32_t floatSize = sizeof(float);
constexpr int32_t sizeSize = sizeof(int32_t);
constexpr int32_t maxKeyLength = 255;
/// The shortest record: a key of one character and an empty payload.
constexpr int32_t smallestRecord = 6;

/// Module-wide, made at the first save: the chunk that the host is reading, and the payload of the
/// stage being written. On one thread at a time.
struct SaveBuffers {
    FifoBuffer chunk;
    HeapBuffer payload;
};

SaveBuffers &saveBuffers() {
    static SaveBuffers buffers;
    return buffers;
}

void addFloat(FifoBuffer &chunk, double value) {
    const auto narrow = static_cast<float>(value);
    chunk.add(&narrow, floatSize);
}

/// The bytes that are left to read.
struct ChunkReader {
    const char *place;
    int32_t left;

    void skip(int32_t bytes) {
        place += bytes;
        left -= bytes;
    }

    double takeFloat() {
        float value;
        std::memcpy(&value, place, sizeof value);
        skip(floatSize);
        return value;
    }
};

void takeParam(ReverbPlugin &plugin, int32_t index, double value) {
    if (!std::isnan(value))
        plugin.params[index] = value;
}

/// Reads the floats in front of the records. Answers the channel count, `channels` where it tells
/// none that can be.
int32_t readHead(ReverbPlugin &plugin, ChunkReader &reader, int32_t channels) {
    if (reader.left < 2 * floatSize)
        return channels;
    const int32_t room = reader.left / floatSize - 1;
    const double first = reader.takeFloat();
    if (first >= -0.5) {
        // The oldest form has the two gains and nothing else.
        takeParam(plugin, paramWet, first);
        takeParam(plugin, paramDry, reader.takeFloat());
        return channels;
    }
    const int32_t count = boundedInteger(0.5 - first, 0, room);
    for (int32_t i = 0; i < count; ++i) {
        const double value = reader.takeFloat();
        if (i < paramCount) {
            takeParam(plugin, i, value);
        } else if (i == paramCount) {
            const int32_t told = boundedInteger(value, 0, ReverbPlugin::maxChannels + 1);
            if (told >= 1 && told <= ReverbPlugin::maxChannels)
                channels = told;
        }
    }
    return channels;
}

/// Reads one record and appends its stage. Answers false where the data can't be one: then reading
/// ends.
bool readRecord(ReverbPlugin &plugin, ChunkReader &reader) {
    const auto keyLength = static_cast<int32_t>(
        strnlen(reader.place, static_cast<size_t>(std::min(reader.left, maxKeyLength))));
    if (keyLength < 1 || reader.left - keyLength < 1 + sizeSize)
        return false;
    char key[maxKeyLength + 1];
    std::memcpy(key, reader.place, static_cast<size_t>(keyLength));
    key[keyLength] = 0;
    reader.skip(keyLength + 1);

    int32_t size;
    std::memcpy(&size, reader.place, sizeof size);
    reader.skip(sizeSize);
    if (size < 0 || size > reader.left)
        return false;
    std::unique_ptr<ImpulseGenerator> stage(createImpulseGenerator(key, &plugin));
    if (stage) {
        stage->loadState(key, reader.place, size);
        if (plugin.stages.add(stage.get()))
            static_cast<void>(stage.release());
    }
    reader.skip(size);
    return true;
}

} // namespace

int32_t ReverbPlugin::saveChunk(void **data) {
    auto &[chunk, payload] = saveBuffers();
    chunk.clear();
    addFloat(chunk, -headFloats);
    for (const Relaxed<double> &param : params)
        addFloat(chunk, param);
    addFloat(chunk, loadRelaxed(effect.numInputs));

    CriticalScope chainScope(chainLock);
    for (int32_t i = 0; i < stages.getSize(); ++i) {
        ImpulseGenerator &stage = *stages.get(i);
        const char *key = stage.getTypeKey();
        payload.resize(0, false);
        stage.saveState(payload);
        if (!key || !*key)
            continue;
        if (stage.bypassed)
            chunk.add("!", 1);
        chunk.add(key, static_cast<int32_t>(std::strlen(key)) + 1);
        const int32_t size = payload.getSize();
        chunk.add(&size, sizeSize);
        chunk.add(payload.get(), size);
    }
    *data = chunk.get();
    return chunk.getAvailable();
}

void ReverbPlugin::loadChunk(const void *data, int32_t size) {
    editor.closeStageDialog();

    int32_t channels = 2;
    {
        CriticalScope chainScope(chainLock);
        stages.clear(true);
        // A state from before there was an LL mode has it off.
        params[paramLowLatency] = 0.0;
        ChunkReader reader{static_cast<const char *>(data), size};
        channels = readHead(*this, reader, channels);
        while (reader.left >= smallestRecord && readRecord(*this, reader)) {
        }
    }
    storeRelaxed(effect.numInputs, channels);
    storeRelaxed(effect.numOutputs, channels);
    rebuildImpulse();
    {
        CriticalScope audioScope(audioLock);
        applyDelayChange();
        settleGains();
    }
    editor.postReload();
}

} // namespace tonvale
