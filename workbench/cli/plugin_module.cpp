#include "workbench/cli/plugin_module.h"

#include "host/vendor_protocol.h"
#include "workbench/cli/problem.h"
#include "workbench/services/host.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <filesystem>
#include <sys/auxv.h>

namespace tonvale::workbench {

namespace {

using EntryPoint = AEffect *(*)(HostCallback);

constexpr int32_t effectMagic = fourBytes("PtsV");
constexpr const char *modulePlaces[] = {"tonvale.so", "../lib/tonvale/tonvale.so"};
constexpr int textSize = 256;
constexpr int stageTextSize = 16384;

/// The first of the module's places, as seen from the program, where there is one.
std::string modulePath() {
    std::error_code error;
    auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    // Roots without /proc have the name by which the program was started.
    if (error)
        program = std::filesystem::canonical(reinterpret_cast<const char *>(getauxval(AT_EXECFN)));
    const auto folder = program.parent_path();
    for (const char *place : modulePlaces) {
        if (auto path = (folder / place).lexically_normal(); std::filesystem::exists(path, error))
            return path;
    }
    return folder / modulePlaces[0];
}

EntryPoint pluginEntry() {
    const std::string path = modulePath();
    void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        const char *reason = dlerror();
        throw Problem("the plug-in can't be loaded: " + (reason ? std::string(reason) : path));
    }
    auto entry = reinterpret_cast<EntryPoint>(dlsym(module, "VSTPluginMain"));
    if (!entry)
        throw Problem(path + " is no plug-in: it has no VSTPluginMain");
    return entry;
}

std::string itemName(int index) {
    return "ITEM" + std::to_string(index);
}

} // namespace

Effect::Effect(double sampleRate)
    : effect(pluginEntry()(hostCallback))
    , rate(sampleRate) {
    if (!effect)
        throw Problem("the plug-in refuses to run in this host");
    if (effect->magic != effectMagic || !effect->processDoubleReplacing)
        throw Problem("the plug-in isn't one that this host can run");
    call(effOpen);
    call(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
    call(effMainsChanged, 0, 1);
}

Effect::~Effect() {
    call(effClose);
}

intptr_t Effect::call(int32_t opcode, int32_t index, intptr_t value, void *ptr, float opt) {
    return effect->dispatcher(effect, opcode, index, value, ptr, opt);
}

std::string Effect::text(int32_t opcode, int32_t index) {
    std::array<char, textSize> buffer{};
    call(opcode, index, 0, buffer.data());
    buffer.back() = '\0';
    return buffer.data();
}

std::string Effect::parameterText(int index, double value) {
    std::array<char, textSize> buffer{};
    call(effVendorSpecific, vendorParamText, index, buffer.data(), static_cast<float>(value));
    buffer.back() = '\0';
    return buffer.data();
}

Effect::Range Effect::parameterRange(int index) {
    double ends[2] = {0.0, 1.0};
    call(effVendorSpecific, vendorParamRange, index, ends);
    return {ends[0], ends[1]};
}

void Effect::setParameter(int index, double value) {
    effect->setParameter(effect, index, static_cast<float>(value));
}

std::optional<std::string> Effect::stageText(int index) {
    std::vector<char> buffer(stageTextSize);
    std::string item = itemName(index);
    const intptr_t answer =
        call(effVendorSpecific, vendorReadStage, reinterpret_cast<intptr_t>(item.data()),
             buffer.data(), static_cast<float>(stageTextSize));
    if (answer != vendorChainAnswer)
        return std::nullopt;
    buffer.back() = '\0';
    return buffer.data();
}

int Effect::stageCount() {
    int count = 0;
    while (stageText(count))
        ++count;
    return count;
}

bool Effect::appendStage(const std::string &line) {
    std::string item = itemName(stageCount());
    std::string copy = line;
    return call(effVendorSpecific, vendorChangeChain, reinterpret_cast<intptr_t>(item.data()),
                copy.data()) == vendorChainAnswer;
}

void Effect::finishChainChange() {
    char done[] = "DONE";
    char unused[] = "";
    call(effVendorSpecific, vendorChangeChain, reinterpret_cast<intptr_t>(done), unused);
}

void Effect::setChannels(int channels) {
    int32_t count = channels;
    call(effVendorSpecific, vendorChannelConfig, reinterpret_cast<intptr_t>(&count), nullptr, 1.0f);
    if (count != channels)
        throw Problem("the plug-in refuses " + std::to_string(channels) + " channels");
}

int Effect::toldResponseChannels() {
    int32_t channels = 0;
    call(effVendorSpecific, vendorChannelConfig, 0, &channels);
    return channels;
}

std::vector<char> Effect::chunk() {
    void *bytes = nullptr;
    const intptr_t size = call(effGetChunk, 0, 0, &bytes);
    if (!bytes || size < 1)
        throw Problem("the plug-in gives no state");
    const auto *first = static_cast<const char *>(bytes);
    return {first, first + size};
}

void Effect::setChunk(std::vector<char> &bytes) {
    call(effSetChunk, 0, static_cast<intptr_t>(bytes.size()), bytes.data());
}

void Effect::reset() {
    call(effMainsChanged, 0, 0);
    call(effMainsChanged, 0, 1);
}

int64_t Effect::latency() const {
    return std::max(0, effect->initialDelay);
}

int64_t Effect::tailFrames() {
    return std::max<int64_t>(1, call(effGetTailSize));
}

void Effect::process(double **inputs, double **outputs, int frames) {
    effect->processDoubleReplacing(effect, inputs, outputs, frames);
}

void Effect::answerIdleRequest() {
    if (takeIdleRequest(effect))
        call(effIdle);
}

} // namespace tonvale::workbench
