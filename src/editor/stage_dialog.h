#pragma once

#include "chain/row_stage.h"
#include "editor/row_controls.h"

#include <windows.h>

namespace tonvale {

/// What the dialog of a row stage does beyond what all of them do. Any of it may be null.
struct RowDialogHooks {
    /// What a linear row shows for a stored 1; 1 where this is null.
    double (*linearScale)(const RowStage &stage);
    /// A fader has moved `row` and goes on. False where the rebuild waits for the gesture's end.
    bool (*faderMoves)(RowStage &stage, HWND dialog, int32_t row);
    /// A run has ended, and the status texts are on show. What the boxes then tell is muted.
    void (*afterRun)(RowStage &stage, const RowControls &controls);
};

/// Shows what came into the stage and what went out. Waits for a run of the stage.
void showStageStatus(StatusStage &stage, HWND dialog);

/// Adds the items 1 to `last` to a combo box.
void addNumbers(HWND comboBox, int32_t last);

} // namespace tonvale
