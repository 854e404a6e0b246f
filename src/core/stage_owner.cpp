#include "chain/stage_owner.h"

#include "core/module_state.h"
#include "core/reverb_plugin.h"

// What a stage asks of the plug-in that owns it.

namespace tonvale {

intptr_t hostContext(ReverbPlugin *owner, int32_t item) {
    const HostCallback callback = moduleState().audioMaster;
    if (!callback || !owner)
        return 0;
    return callback(&owner->effect, hostLookupOpcode, hostLookupContext, item, nullptr, 0.0f);
}

void requestRebuildAtIdle(ReverbPlugin *owner) {
    if (!owner)
        return;
    owner->rebuildPending = 1;
    if (const HostCallback callback = moduleState().audioMaster)
        callback(&owner->effect, audioMasterNeedIdle, 0, 0, nullptr, 0.0f);
}

} // namespace tonvale
