#pragma once

#include "test_host/signals.h"
#include "test_host/test_host.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tonvale::test {

/// The two switches that choose the engines: no latency, and a worker for the tail.
struct Mode {
    bool zl = true;
    bool ll = true;

    std::string name() const {
        return std::string(zl ? "ZeroLatency" : "Plain") + (ll ? "WithWorker" : "");
    }
};
constexpr Mode allModes[] = {{true, true}, {true, false}, {false, true}, {false, false}};

/// An effect as a host holds it: everything goes through the record.
class EffectDriver {
  public:
    /// At 44100 Hz with the plug-in's defaults.
    explicit EffectDriver(int32_t channels = 2);
    ~EffectDriver();
    EffectDriver(const EffectDriver &) = delete;
    EffectDriver &operator=(const EffectDriver &) = delete;

    intptr_t dispatch(int32_t opcode, int32_t index = 0, intptr_t value = 0, void *ptr = nullptr,
                      float opt = 0.0f);
    intptr_t vendor(int32_t index, const void *value, void *ptr, float opt = 0.0f);
    void set(int32_t param, float value) {
        const PluginSide side;
        effect->setParameter(effect, param, value);
    }
    float get(int32_t param) {
        const PluginSide side;
        return effect->getParameter(effect, param);
    }

    /// Replaces the chain by these lines and runs it. Answers how many lines were taken.
    int setChain(const std::vector<std::string> &lines);
    /// Makes the chain one File stage on this response, at 44100 Hz.
    void setResponse(const Channels &response);
    std::string stageText(int index);
    /// The texts of all stages.
    std::vector<std::string> chain();

    /// The bytes of the state, and back.
    std::string save();
    void load(std::string_view state);

    void setChannels(int32_t channels);
    void reset() { dispatch(effMainsChanged, 0, 0); }

    /// Wet at 0 dB, no dry, after a reset.
    void hearWetOnly(const Mode &mode);
    void hearWetOnly(bool zl, bool ll) { hearWetOnly({zl, ll}); }

    /// Runs `input` through the effect in blocks whose lengths `nextBlock` tells.
    Channels process(const Channels &input, const std::function<int32_t()> &nextBlock);
    Channels process(const Channels &input, int32_t block);

    AEffect *effect;
};

/// Block lengths from a seeded mix of 1 to `most`.
std::function<int32_t()> randomBlocks(uint32_t seed, int32_t most);

} // namespace tonvale::test
