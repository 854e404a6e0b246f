#include "core/module_state.h"

namespace tonvale {

namespace {

#ifdef _WIN32
/// Set when the process attaches to the module.
HINSTANCE attachedModule = nullptr;
#else
/// Its address tells this module from every other one in the process.
char moduleMark = 0;
#endif

} // namespace

HINSTANCE ownModule() {
#ifdef _WIN32
    return attachedModule;
#else
    return reinterpret_cast<HINSTANCE>(&moduleMark);
#endif
}

ModuleState &moduleState() {
    static ModuleState state;
    return state;
}

} // namespace tonvale

#ifdef _WIN32
BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void *) {
    if (reason == DLL_PROCESS_ATTACH)
        tonvale::attachedModule = instance;
    return TRUE;
}
#endif
