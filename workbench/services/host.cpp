#include "workbench/services/host.h"

#include "workbench/services/project_registry.h"

#include <array>
#include <atomic>

namespace tonvale::workbench {

namespace {

/// Process-wide: the effects whose request waits, null in free places. Any thread; the audio thread
/// asks too, hence neither a lock nor an allocation.
std::array<std::atomic<const AEffect *>, 1024> idleRequests;

void noteIdleRequest(const AEffect *effect) {
    if (!effect)
        return;
    for (auto &place : idleRequests) {
        const AEffect *seen = nullptr;
        if (place.compare_exchange_strong(seen, effect) || seen == effect)
            return;
    }
}

/// What the context lookup may ask for.
enum HostContext : intptr_t {
    contextProject = 3,
    contextHost = 4, ///< only ever handed back to the host
};

intptr_t hostContext(intptr_t wanted) {
    static char host;
    switch (wanted) {
    case contextProject:
        return reinterpret_cast<intptr_t>(currentProject());
    case contextHost:
        return reinterpret_cast<intptr_t>(&host);
    default:
        return 0;
    }
}

intptr_t lookUp(int32_t index, intptr_t value, const void *name) {
    if (index == hostLookupFunction)
        return hostFunction(static_cast<const char *>(name));
    return index == hostLookupContext ? hostContext(value) : 0;
}

} // namespace

bool takeIdleRequest(const AEffect *effect) {
    if (!effect)
        return false;
    // Two threads that ask at once may have filled two places.
    bool asked = false;
    for (auto &place : idleRequests) {
        const AEffect *seen = effect;
        asked |= place.compare_exchange_strong(seen, nullptr);
    }
    return asked;
}

intptr_t hostCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                      float) {
    if (opcode == hostLookupOpcode)
        return lookUp(index, value, ptr);
    if (opcode == audioMasterNeedIdle) {
        noteIdleRequest(effect);
        return effect ? 1 : 0;
    }
    return 0;
}

} // namespace tonvale::workbench
