#pragma once

#include "convolution/containers/pointer_list.h"
#include "convolution/containers/relaxed.h"
#include "host/host_functions.h"
#include "platform/critical_section.h"
#include "platform/window_types.h"

namespace tonvale {

struct ReverbPlugin;

/// The handle of this module.
HINSTANCE ownModule();

/// What all instances in the process share, beside the table of host functions and the registry of
/// stage types. The host makes and deletes instances on one thread at a time, and that thread alone
/// touches this, but for audioMaster, which any thread may call, and isAlive().
struct ModuleState {
    Relaxed<HostCallback> audioMaster{nullptr}; ///< the latest one that the host gave
    HINSTANCE instance = ownModule();
    bool hostFunctionsLoaded = false;
    PointerList<ReverbPlugin> instanceList; ///< every live instance, in order of creation
    CriticalSection instanceLock;           ///< held while instanceList changes
};

ModuleState &moduleState();

/// A new instance; false where memory is out.
bool enlist(ReverbPlugin &plugin);
/// One that goes, or went before.
void strike(const ReverbPlugin &plugin);
/// Whether the host still holds this instance, which may be gone: nothing of it is looked at. Any
/// thread.
bool isAlive(const ReverbPlugin &plugin);

} // namespace tonvale
