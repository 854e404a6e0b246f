#pragma once

#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>

namespace tonvale {

struct ReverbPlugin;

// The list of stages in the main dialog, and the dialog of the stage on show. User interface
// thread.

void prepareStageList(HWND dialog);
/// Makes the list anew; no stage is on show then.
void refreshStageList(ReverbPlugin &plugin, HWND dialog);
/// Puts the last stage on show.
void selectLastStage(HWND dialog);
/// A child of the dialog came or goes (WM_CREATE, WM_DESTROY), which may be the dialog of a stage.
void followStageDialog(ReverbPlugin &plugin, HWND dialog, UINT event, HWND child);

void addStageByMenu(ReverbPlugin &plugin, HWND dialog);
void removeSelectedStages(ReverbPlugin &plugin, HWND dialog);
/// A notice of the list.
void takeListNotice(ReverbPlugin &plugin, HWND dialog, const NMHDR &notice);
/// The mouse moved, or its button went up, with the capture in this dialog.
void dragStage(ReverbPlugin &plugin, HWND dialog);
void endDrag(HWND dialog);
/// Ends the drop too.
void takeDrop(ReverbPlugin &plugin, HWND dialog, HDROP drop);

} // namespace tonvale
