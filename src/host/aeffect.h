#pragma once

#include <cstddef>
#include <cstdint>

/// The record that a VST 2 host holds of an effect, in its 64-bit layout. Hosts written elsewhere
/// read it, so offsets never move.
struct AEffect {
    using Dispatcher = intptr_t (*)(AEffect *, int32_t opcode, int32_t index, intptr_t value,
                                    void *ptr, float opt);
    using ProcessFloat = void (*)(AEffect *, float **inputs, float **outputs, int32_t frames);
    using ProcessDouble = void (*)(AEffect *, double **inputs, double **outputs, int32_t frames);

    int32_t magic;
    Dispatcher dispatcher;
    ProcessFloat process;
    void (*setParameter)(AEffect *, int32_t index, float value);
    float (*getParameter)(AEffect *, int32_t index);
    int32_t numPrograms;
    int32_t numParams;
    int32_t numInputs;
    int32_t numOutputs;
    int32_t flags;
    int32_t initialDelay; ///< reported latency, samples
    intptr_t reserved1[2];
    int32_t reserved2[2];
    float reserved3;
    void *object;
    void *user;
    int32_t uniqueID;
    int32_t version;
    ProcessFloat processReplacing;
    ProcessDouble processDoubleReplacing;
    char reserved4[56];
};
static_assert(sizeof(AEffect) == 192);
static_assert(offsetof(AEffect, dispatcher) == 8);
static_assert(offsetof(AEffect, numPrograms) == 40);
static_assert(offsetof(AEffect, flags) == 56);
static_assert(offsetof(AEffect, initialDelay) == 60);
static_assert(offsetof(AEffect, reserved3) == 88);
static_assert(offsetof(AEffect, object) == 96);
static_assert(offsetof(AEffect, user) == 104);
static_assert(offsetof(AEffect, uniqueID) == 112);
static_assert(offsetof(AEffect, processReplacing) == 120);
static_assert(offsetof(AEffect, processDoubleReplacing) == 128);

namespace tonvale {

// What the host asks of the dispatcher.
enum EffectOpcode : int32_t {
    effOpen = 0,
    effClose = 1,
    effGetParamLabel = 6,
    effGetParamDisplay = 7,
    effGetParamName = 8,
    effSetSampleRate = 10,
    effSetBlockSize = 11,
    effMainsChanged = 12,
    effEditOpen = 14,
    effEditClose = 15,
    effGetChunk = 23,
    effSetChunk = 24,
    effCanBeAutomated = 26,
    effGetPlugCategory = 35,
    effGetEffectName = 45,
    effGetVendorString = 47,
    effGetProductString = 48,
    effVendorSpecific = 50,
    effCanDo = 51,
    effGetTailSize = 52,
    effIdle = 53,
    effStopProcess = 72,
};

// What the plug-in tells the host's callback.
enum HostOpcode : int32_t {
    audioMasterAutomate = 0,
    audioMasterNeedIdle = 14,
    audioMasterBeginEdit = 43,
    audioMasterEndEdit = 44,
};

/// What lies in memory as these four characters.
constexpr int32_t fourBytes(const char (&text)[5]) {
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<unsigned char>(text[0])) |
                                static_cast<uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
                                static_cast<uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
                                static_cast<uint32_t>(static_cast<unsigned char>(text[3])) << 24);
}

} // namespace tonvale
