#pragma once

#include <string>
#include <windows.h>

namespace tonvale::workbench {

/// What a screen reader is told of a control in place of what the system would say.
struct SpokenText {
    std::wstring name;
    std::wstring value; ///< empty for the system's
    long role = 0;      ///< ROLE_SYSTEM_..., 0 for the system's
};

/// What is spoken of a window; null where there is nothing to say, as for one that is gone.
using SpokenTextOf = const SpokenText *(*)(HWND);

/// Answers WM_GETOBJECT: for the object of the window's client area one that speaks as told, for
/// any other 0, which leaves it to the system.
LRESULT answerAccessibleObject(HWND window, WPARAM wParam, LPARAM lParam, SpokenTextOf spokenOf);

} // namespace tonvale::workbench
