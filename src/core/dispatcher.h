#pragma once

#include "host/aeffect.h"

namespace tonvale {

struct ReverbPlugin;

/// Fills the record by which a host reaches `plugin`, at its two channels and no latency. Every
/// entry in it bears a null `user`, and lets no exception out.
void fillEffectRecord(AEffect &effect, ReverbPlugin &plugin);

} // namespace tonvale
