#include "core/state_chunk.h"

#include "convolution/containers/bounded_integer.h"
#include "core/reverb_plugin.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

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

bool addFloat(FifoBuffer &chunk, double value) {
    const auto narrow = static_cast<float>(value);
    return chunk.add(&narrow, floatSize) != nullptr;
}

bool addHead(FifoBuffer &chunk, const ReverbPlugin &plugin) {
    bool whole = addFloat(chunk, -headFloats);
    for (const Relaxed<double> &param : plugin.params)
        whole = addFloat(chunk, param) && whole;
    return addFloat(chunk, loadRelaxed(plugin.effect.numInputs)) && whole;
}

/// Appends the record of `stage`, for which `payload` lends its room.
bool addRecord(FifoBuffer &chunk, ImpulseGenerator &stage, HeapBuffer &payload) {
    const char *key = stage.getTypeKey();
    payload.resize(0, false);
    stage.saveState(payload);
    if (!key || !*key)
        return true;
    const int32_t size = payload.getSize();
    const auto keySize = static_cast<int32_t>(std::strlen(key)) + 1;
    // Every stage saves something, so an empty payload is one that memory failed.
    return size > 0 && (!stage.bypassed || chunk.add("!", 1)) && chunk.add(key, keySize) &&
           chunk.add(&size, sizeSize) && chunk.add(payload.get(), size);
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
    if (std::isfinite(value))
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
            const int32_t told = boundedInteger(value, 0, maxChannels + 1);
            if (told >= 1 && told <= maxChannels)
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
    ImpulseChain::Stage stage(createImpulseGenerator(key, &plugin));
    if (stage) {
        stage->loadState(key, reader.place, size);
        plugin.chain.insert(INT32_MAX, stage);
    }
    reader.skip(size);
    return true;
}

} // namespace

int32_t saveChunk(ReverbPlugin &plugin, void **data) {
    auto &[chunk, payload] = saveBuffers();
    *data = nullptr;
    chunk.clear();
    bool whole = addHead(chunk, plugin);
    plugin.chain.forEach([&, &file = chunk, &room = payload](ImpulseGenerator &stage) {
        whole = whole && addRecord(file, stage, room);
    });
    if (!whole)
        return 0;
    *data = chunk.get();
    return chunk.getAvailable();
}

void loadChunk(ReverbPlugin &plugin, const void *data, int32_t size) {
    plugin.editor.closeStageDialog();
    plugin.removeAllStages();

    // A state from before there was an LL mode has it off.
    plugin.params[paramLowLatency] = 0.0;
    ChunkReader reader{static_cast<const char *>(data), size};
    const int32_t channels = readHead(plugin, reader, 2);
    try {
        while (reader.left >= smallestRecord && readRecord(plugin, reader)) {
        }
    } catch (const std::exception &) {
        // As much as there was memory for.
    }

    storeRelaxed(plugin.effect.numInputs, channels);
    storeRelaxed(plugin.effect.numOutputs, channels);
    if (!plugin.rebuildImpulse())
        return;
    plugin.applyDelayChange();
    plugin.settleGains();
    plugin.editor.postReload();
}

} // namespace tonvale
