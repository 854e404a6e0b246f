#include "core/module_state.h"

#include "core/reverb_plugin.h"

namespace tonvale {

HINSTANCE ownModule() {
    // Its address lies in this module and in no other one of the process.
    static char mark;
#ifdef _WIN32
    HINSTANCE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&mark), &module);
    return module;
#else
    return reinterpret_cast<HINSTANCE>(&mark);
#endif
}

ModuleState &moduleState() {
    static ModuleState state;
    return state;
}

bool enlist(ReverbPlugin &plugin) {
    ModuleState &module = moduleState();
    CriticalScope scope(module.instanceLock);
    return module.instanceList.add(&plugin);
}

void strike(const ReverbPlugin &plugin) {
    ModuleState &module = moduleState();
    CriticalScope scope(module.instanceLock);
    module.instanceList.remove(module.instanceList.find(&plugin));
}

bool isAlive(const ReverbPlugin &plugin) {
    CriticalScope scope(moduleState().instanceLock);
    return moduleState().instanceList.find(&plugin) >= 0;
}

} // namespace tonvale
