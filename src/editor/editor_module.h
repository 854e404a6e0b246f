#pragma once

#include <windows.h>

#include <commctrl.h>

#include <cstdint>

namespace tonvale {

struct ReverbPlugin;

/// What a dialog procedure is in the middle of, for all dialogs that share it.
struct DialogActivity {
    int32_t uiUpdateDepth = 0;     ///< above 0 while the program itself writes controls
    int32_t wheelForwardDepth = 0; ///< above 0 while a turn of the wheel is on its way to a fader
};

/// What all editors in the process share. The user interface thread alone touches it.
struct EditorModule {
    int32_t users = 0;      ///< live instances
    UINT wheelMessage = 0;  ///< older systems' own message for the wheel
    int32_t dragIndex = -1; ///< row of the stage list that is being dragged, -1 if none
    HIMAGELIST stateImageList = nullptr; ///< of the stage lists: in use, bypassed
    DialogActivity mainDialog;
    DialogActivity stageDialogs;
};

EditorModule &editorModule();

// Menus, choosers and hosts that are told of a change serve messages meanwhile: the dialog, and
// with it the instance, can be gone behind them. These look at nothing that may be gone.

/// Whether `dialog` is still the editor of this instance.
bool isOpen(const ReverbPlugin &plugin, HWND dialog);

/// Fetches the message's number once; each dialog that takes the wheel calls it at its start.
void prepareWheelMessage();

} // namespace tonvale
