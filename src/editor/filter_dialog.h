#pragma once

#include "editor/stage_dialog.h"

namespace tonvale {

/// The Filter stores corners as fractions of half the sample rate, and shows hertz.
extern const RowDialogHooks filterDialogHooks;

} // namespace tonvale
