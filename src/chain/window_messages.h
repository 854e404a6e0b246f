#pragma once

#include "platform/window_types.h"

namespace tonvale {

// What chain, core and editor post and send to each other's windows.

constexpr UINT stageStatusMessage = 1630;  ///< to a stage's dialog: show the status texts
constexpr UINT fileRefreshMessage = 1631;  ///< to the File dialog: show file and folder anew
constexpr UINT editorReloadMessage = 7631; ///< to the editor: all that it shows may have changed

} // namespace tonvale
