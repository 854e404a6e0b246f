#include "test_host/effect_driver.h"

#include "host/vendor_protocol.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>

namespace tonvale::test {

EffectDriver::EffectDriver(int32_t channels)
    : effect(VSTPluginMain(testHostCallback)) {
    if (!effect)
        throw std::runtime_error("no effect");
    setChannels(channels);
}

EffectDriver::~EffectDriver() {
    dispatch(effClose);
}

intptr_t EffectDriver::dispatch(int32_t opcode, int32_t index, intptr_t value, void *ptr,
                                float opt) {
    const PluginSide side;
    return effect->dispatcher(effect, opcode, index, value, ptr, opt);
}

intptr_t EffectDriver::vendor(int32_t index, const void *value, void *ptr, float opt) {
    return dispatch(effVendorSpecific, index, reinterpret_cast<intptr_t>(value), ptr, opt);
}

int EffectDriver::setChain(const std::vector<std::string> &lines) {
    const HostSide side;
    char unused[] = "";
    vendor(vendorChangeChain, "-ITEM*", unused);
    int taken = 0;
    for (std::string line : lines) {
        const std::string place = "ITEM" + std::to_string(taken);
        taken += vendor(vendorChangeChain, place.c_str(), line.data()) == vendorChainAnswer;
    }
    vendor(vendorChangeChain, "DONE", unused);
    return taken;
}

std::string EffectDriver::stageText(int index) {
    const HostSide side;
    char text[4096] = "";
    const std::string item = "ITEM" + std::to_string(index);
    return vendor(vendorReadStage, item.c_str(), text, sizeof text) == vendorChainAnswer ? text
                                                                                         : "";
}

void EffectDriver::setChannels(int32_t channels) {
    vendor(vendorChannelConfig, &channels, nullptr, 1.0f);
}

void EffectDriver::hearWetOnly(bool zl, bool ll) {
    set(0, 1.0f);
    set(1, 0.0f);
    set(6, zl ? 1.0f : 0.0f);
    set(7, ll ? 1.0f : 0.0f);
    reset();
}

Channels EffectDriver::process(const Channels &input, const std::function<int32_t()> &nextBlock) {
    const HostSide side;
    Channels buffers = input;
    const size_t length = input.empty() ? 0 : input[0].size();
    std::vector<double *> places(input.size());
    for (size_t done = 0; done < length;) {
        const size_t frames = std::min(static_cast<size_t>(nextBlock()), length - done);
        for (size_t c = 0; c < input.size(); ++c)
            places[c] = buffers[c].data() + done;
        const PluginSide call;
        // Output over input, as hosts do.
        effect->processDoubleReplacing(effect, places.data(), places.data(),
                                       static_cast<int32_t>(frames));
        done += frames;
    }
    return buffers;
}

Channels EffectDriver::process(const Channels &input, int32_t block) {
    return process(input, [block] { return block; });
}

std::function<int32_t()> randomBlocks(uint32_t seed, int32_t most) {
    return [random = std::mt19937(seed), most]() mutable {
        // Small blocks as often as large ones.
        const double exponent = std::uniform_real_distribution<>(0.0, 1.0)(random);
        return std::clamp(static_cast<int32_t>(std::pow(most, exponent)), 1, most);
    };
}

std::vector<double> noise(size_t length, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<> level(-0.5, 0.5);
    std::vector<double> samples(length);
    std::generate(samples.begin(), samples.end(), [&] { return level(random); });
    return samples;
}

std::vector<double> roomNoise(size_t length, uint32_t seed) {
    std::vector<double> samples = noise(length, seed);
    for (size_t i = 0; i < length; ++i)
        samples[i] *= std::exp(-3.0 * static_cast<double>(i) / static_cast<double>(length));
    return samples;
}

double convolvedSample(const std::vector<double> &input, const std::vector<double> &taps,
                       size_t at) {
    double sum = 0.0;
    const size_t first = at >= input.size() ? at - input.size() + 1 : 0;
    for (size_t k = first; k < std::min(taps.size(), at + 1); ++k)
        sum += taps[k] * input[at - k];
    return sum;
}

double ErrorMeter::decibels() const {
    if (error == 0.0)
        return -400.0;
    return 10.0 * std::log10(error / std::max(signal, 1e-300));
}

} // namespace tonvale::test
