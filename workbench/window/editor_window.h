#pragma once

#include "workbench/window/editor_effect.h"
#include "workbench/window/options.h"

#include <string>

namespace tonvale::workbench {

/// The window of this program, with the editor of `effect` in it. Works off what the options ask
/// for, one thing at a time, and returns when the window is closed. Throws Problem.
void runEditorWindow(EditorEffect &effect, const WindowOptions &options);

} // namespace tonvale::workbench
