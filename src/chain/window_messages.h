#pragma once

#include "platform/window_types.h"

namespace tonvale {

// What chain, core and editor post and send to each other's windows. None has parameters but the
// last.

// To a stage's dialog.
constexpr UINT stageStatusMessage = 1630;   ///< show the status texts
constexpr UINT fileRefreshMessage = 1631;   ///< File: show file and folder anew
constexpr UINT stageAddedMessage = 7720;    ///< a user has just added this stage from the menu
constexpr UINT responseReadyMessage = 7928; ///< File: take the file whose path wParam points to

// To the editor's main dialog.
constexpr UINT commitMessage = 1690;       ///< rebuild now, and tell the host
constexpr UINT syncControlsMessage = 7630; ///< show the parameters of pendingControlMask anew
constexpr UINT editorReloadMessage = 7631; ///< all that it shows may have changed

} // namespace tonvale
