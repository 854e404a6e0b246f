#pragma once

#include <cstdint>

namespace tonvale {

struct ReverbPlugin;

// What a stage asks of the plug-in that owns it. The owner's side defines these.

/// An item of the host that belongs to the owner's instance; 0 when there is none.
intptr_t hostContext(ReverbPlugin *owner, int32_t item);
constexpr int32_t hostProject = 3;        ///< the project that the instance is part of
constexpr int32_t hostProjectContext = 4; ///< handed back to the host as it came

/// Has the owner run its chain again at the host's next idle call. Any thread.
void requestRebuildAtIdle(ReverbPlugin *owner);

} // namespace tonvale
