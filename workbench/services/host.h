#pragma once

#include "host/aeffect.h"
#include "host/host_functions.h"

#include <cstdint>

namespace tonvale::workbench {

/// What a host gives a plug-in, for VSTPluginMain: lookup of functions by name, the project of an
/// instance, idle requests. Any thread.
intptr_t hostCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                      float opt);

/// The address of a host function, 0 for a name that this host doesn't have.
intptr_t hostFunction(const char *name);

/// Whether the effect asked for an idle call since this was last asked. The caller answers it with
/// effIdle on its main thread.
bool takeIdleRequest(const AEffect *effect);

} // namespace tonvale::workbench
