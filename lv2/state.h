#pragma once

#include <lv2/state/state.h>

namespace tonvale::lv2 {

extern const LV2_State_Interface stateInterface;

} // namespace tonvale::lv2
