#include "lv2/effect.h"

#include "host/vendor_protocol.h"
#include "workbench/services/host.h"

#include <mutex>

extern "C" AEffect *VSTPluginMain(tonvale::HostCallback callback);

namespace tonvale::lv2 {

namespace {

/// Process-wide: the plug-in's instances come, go and are saved on one thread at a time.
std::mutex &instancesLock() {
    static std::mutex lock;
    return lock;
}

} // namespace

std::unique_ptr<Effect> Effect::make(double rate, int32_t channels) {
    AEffect *made = nullptr;
    {
        std::scoped_lock scope(instancesLock());
        made = VSTPluginMain(workbench::hostCallback);
    }
    if (!made)
        return nullptr;
    std::unique_ptr<Effect> effect(new Effect(made));
    effect->call(effOpen);
    effect->setChannels(channels);
    effect->call(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
    effect->call(effMainsChanged, 0, 1);
    return effect;
}

Effect::~Effect() {
    workbench::takeIdleRequest(effect);
    std::scoped_lock scope(instancesLock());
    call(effClose);
}

void Effect::setChannels(int32_t channels) {
    int32_t count = channels;
    call(effVendorSpecific, vendorChannelConfig, reinterpret_cast<intptr_t>(&count), nullptr, 1.0f);
}

bool Effect::appendStage(const std::string &line) {
    std::string item = "ITEM" + std::to_string(stages);
    std::string text = line;
    if (call(effVendorSpecific, vendorChangeChain, reinterpret_cast<intptr_t>(item.data()),
             text.data()) != vendorChainAnswer)
        return false;
    ++stages;
    return true;
}

void Effect::finishChain() {
    char done[] = "DONE";
    char unused[] = "";
    call(effVendorSpecific, vendorChangeChain, reinterpret_cast<intptr_t>(done), unused);
    // Where memory ran out.
    if (workbench::takeIdleRequest(effect))
        call(effIdle);
}

int32_t Effect::toldChannels() {
    int32_t channels = 0;
    call(effVendorSpecific, vendorChannelConfig, 0, &channels);
    return channels;
}

std::string Effect::chunk() {
    std::scoped_lock scope(instancesLock());
    void *bytes = nullptr;
    const intptr_t size = call(effGetChunk, 0, 0, &bytes);
    return bytes && size > 0
               ? std::string(static_cast<const char *>(bytes), static_cast<size_t>(size))
               : std::string();
}

void Effect::setChunk(const std::string &chunk) {
    call(effSetChunk, 0, static_cast<intptr_t>(chunk.size()), const_cast<char *>(chunk.data()));
}

} // namespace tonvale::lv2
