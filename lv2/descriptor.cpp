#include "lv2/instance.h"
#include "lv2/state.h"

#include <cmath>
#include <cstring>
#include <exception>

// Every entry by which a host gets in from C, with the catch that no exception passes.

namespace tonvale::lv2 {

namespace {

Instance &instanceOf(LV2_Handle handle) {
    return *static_cast<Instance *>(handle);
}

LV2_Handle instantiate(const LV2_Descriptor *descriptor, double rate, const char *,
                       const LV2_Feature *const *features) {
    const HostFeatures host(features);
    if (!host.map || !std::isfinite(rate) || rate < 1.0 || rate > 1e6)
        return nullptr;
    try {
        for (const PluginKind &kind : pluginKinds()) {
            if (uriOf(kind.id) == descriptor->URI)
                return new Instance(kind, rate, host);
        }
    } catch (const std::exception &) {
    }
    return nullptr;
}

LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function, LV2_Worker_Respond_Handle,
                       uint32_t, const void *) {
    instanceOf(handle).work();
    return LV2_WORKER_SUCCESS;
}

/// The audio thread finds what was made by itself, in hosts that answer late or never, too.
LV2_Worker_Status takeAnswer(LV2_Handle, uint32_t, const void *) {
    return LV2_WORKER_SUCCESS;
}

constexpr LV2_Worker_Interface workerInterface = {work, takeAnswer, nullptr};

const void *extensionData(const char *uri) {
    if (std::strcmp(uri, LV2_STATE__interface) == 0)
        return &stateInterface;
    return std::strcmp(uri, LV2_WORKER__interface) == 0 ? &workerInterface : nullptr;
}

/// One for each kind, whose URIs live as long as the library.
struct Descriptors {
    std::vector<std::string> uris;
    std::vector<LV2_Descriptor> all;

    Descriptors() {
        for (const PluginKind &kind : pluginKinds())
            uris.push_back(uriOf(kind.id));
        for (const std::string &uri : uris) {
            all.push_back(
                {uri.c_str(), instantiate,
                 [](LV2_Handle handle, uint32_t port, void *data) {
                     instanceOf(handle).connect(port, data);
                 },
                 [](LV2_Handle handle) { instanceOf(handle).activate(); },
                 [](LV2_Handle handle, uint32_t frames) { instanceOf(handle).run(frames); },
                 [](LV2_Handle handle) { instanceOf(handle).deactivate(); },
                 [](LV2_Handle handle) { delete &instanceOf(handle); }, extensionData});
        }
    }
};

} // namespace

} // namespace tonvale::lv2

/// The library's one export.
LV2_SYMBOL_EXPORT const LV2_Descriptor *lv2_descriptor(uint32_t index) {
    static const tonvale::lv2::Descriptors descriptors;
    return index < descriptors.all.size() ? &descriptors.all[index] : nullptr;
}
