#pragma once

#include "test_host/test_host.h"

#include <cstdint>
#include <functional>
#include <string>

namespace tonvale::test {

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
    std::string stageText(int index);
    void setChannels(int32_t channels);
    void reset() { dispatch(effMainsChanged, 0, 0); }

    /// Wet at 0 dB, no dry, `zl` and `ll` as told.
    void hearWetOnly(bool zl, bool ll);

    /// Runs `input` through the effect in blocks whose lengths `nextBlock` tells.
    Channels process(const Channels &input, const std::function<int32_t()> &nextBlock);
    Channels process(const Channels &input, int32_t block);

    AEffect *effect;
};

/// Block lengths from a seeded mix of 1 to `most`.
std::function<int32_t()> randomBlocks(uint32_t seed, int32_t most);

/// Seeded noise between -0.5 and 0.5.
std::vector<double> noise(size_t length, uint32_t seed);
/// Decaying noise, as a response of a room.
std::vector<double> roomNoise(size_t length, uint32_t seed);

/// sum over k of taps[k] * input[at - k].
double convolvedSample(const std::vector<double> &input, const std::vector<double> &taps,
                       size_t at);

/// The level of an error against a signal, dB, over corresponding samples.
struct ErrorMeter {
    double signal = 0.0;
    double error = 0.0;

    void add(double expected, double actual) {
        signal += expected * expected;
        error += (actual - expected) * (actual - expected);
    }
    double decibels() const;
};

} // namespace tonvale::test
