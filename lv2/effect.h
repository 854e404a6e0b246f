#pragma once

#include "host/aeffect.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tonvale::lv2 {

/// An instance of the plug-in inside this bundle, known by its AEffect record alone. One thread at
/// a time; setParameter(), process() and latency() allocate nothing.
class Effect {
  public:
    /// Null where memory is out. Any thread.
    static std::unique_ptr<Effect> make(double rate, int32_t channels);
    ~Effect();
    Effect(const Effect &) = delete;
    Effect &operator=(const Effect &) = delete;

    void setParameter(int32_t index, float value) { effect->setParameter(effect, index, value); }
    void setChannels(int32_t channels);
    /// False for a line that is no stage. Nothing sounds different before finishChain().
    bool appendStage(const std::string &line);
    void finishChain();

    /// Forgets all signal, and lets the next block begin without a ramp.
    void reset() { call(effMainsChanged, 0, 0); }
    int32_t latency() const { return effect->initialDelay; }
    /// Samples of the response, at least 1. The Pre-verb must be 0.
    int32_t responseLength() { return static_cast<int32_t>(call(effGetTailSize)); }
    /// Channels of the response where they are 1 or 2, 0 for more.
    int32_t toldChannels();
    std::string chunk();
    void setChunk(const std::string &chunk);

    /// Null inputs are silence, null outputs go without.
    void process(double **inputs, double **outputs, int32_t frames) {
        effect->processDoubleReplacing(effect, inputs, outputs, frames);
    }

  private:
    explicit Effect(AEffect *made)
        : effect(made) {}
    intptr_t call(int32_t opcode, int32_t index = 0, intptr_t value = 0, void *ptr = nullptr,
                  float opt = 0.0f) {
        return effect->dispatcher(effect, opcode, index, value, ptr, opt);
    }

    AEffect *effect;
    int32_t stages = 0;
};

} // namespace tonvale::lv2
