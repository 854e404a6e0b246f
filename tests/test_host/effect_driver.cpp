#include "test_host/effect_driver.h"

#include "host/vendor_protocol.h"

#include <algorithm>
#include <cmath>
#include <memory>
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

void EffectDriver::setResponse(const Channels &response) {
    const HostSide side;
    putMedia("response", 44100.0, response);
    if (setChain({"FILELDR \"memory:response\" 60"}) != 1)
        throw std::runtime_error("no response");
}

std::string EffectDriver::stageText(int index) {
    const HostSide side;
    char text[4096] = "";
    const std::string item = "ITEM" + std::to_string(index);
    return vendor(vendorReadStage, item.c_str(), text, sizeof text) == vendorChainAnswer ? text
                                                                                         : "";
}

std::vector<std::string> EffectDriver::chain() {
    const HostSide side;
    std::vector<std::string> lines;
    for (std::string line = stageText(0); !line.empty();
         line = stageText(static_cast<int>(lines.size())))
        lines.push_back(std::move(line));
    return lines;
}

std::string EffectDriver::save() {
    const HostSide side;
    void *data = nullptr;
    const intptr_t size = dispatch(effGetChunk, 0, 0, &data);
    return data ? std::string(static_cast<const char *>(data), static_cast<size_t>(size)) : "";
}

void EffectDriver::load(std::string_view state) {
    const HostSide side;
    // To the byte, so that a sanitizer sees every read behind; an empty state has an address too.
    const auto exact = std::make_unique<char[]>(state.size());
    std::copy(state.begin(), state.end(), exact.get());
    dispatch(effSetChunk, 0, static_cast<intptr_t>(state.size()), exact.get());
}

void EffectDriver::setChannels(int32_t channels) {
    vendor(vendorChannelConfig, &channels, nullptr, 1.0f);
}

void EffectDriver::hearWetOnly(const Mode &mode) {
    set(0, 1.0f);
    set(1, 0.0f);
    set(6, mode.zl ? 1.0f : 0.0f);
    set(7, mode.ll ? 1.0f : 0.0f);
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

} // namespace tonvale::test
