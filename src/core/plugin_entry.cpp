#include "convolution/containers/raw_memory.h"
#include "core/module_state.h"
#include "core/reverb_plugin.h"

#ifdef _WIN32
#define TONVALE_EXPORT __declspec(dllexport)
#else
#define TONVALE_EXPORT __attribute__((visibility("default")))
#endif

/// The module's one export: makes an instance for the host behind `callback`. Null when the host
/// lacks a function that the plug-in can't do without, or memory is out. On one thread at a time.
extern "C" TONVALE_EXPORT AEffect *VSTPluginMain(tonvale::HostCallback callback) {
    using namespace tonvale;
    if (!callback)
        return nullptr;
    ModuleState &module = moduleState();
    module.audioMaster = callback;
    if (!module.hostFunctionsLoaded && !loadHostFunctions(callback))
        return nullptr;
    module.hostFunctionsLoaded = true;
    // The instance is the host's from here on, until it sends effClose.
    ReverbPlugin *plugin = tryMake<ReverbPlugin>().release();
    return plugin ? &plugin->effect : nullptr;
}
