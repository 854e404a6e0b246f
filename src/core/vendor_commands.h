#pragma once

#include <cstdint>

namespace tonvale {

struct ReverbPlugin;

/// The family of sub-commands behind effVendorSpecific; 0 for an unknown one. On the host's main
/// thread.
intptr_t dispatchVendorCommand(ReverbPlugin &plugin, int32_t index, intptr_t value, void *ptr,
                               float opt);

} // namespace tonvale
