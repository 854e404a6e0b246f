#pragma once

#include "editor/stage_dialog.h"

namespace tonvale {

/// Trim/Gain/Stretch forecasts the length of the response while a fader moves.
extern const RowDialogHooks editDialogHooks;

} // namespace tonvale
