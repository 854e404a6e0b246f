#pragma once

#include <windows.h>

namespace tonvale {

/// Answers WM_PAINT of a dialog whose WM_ERASEBKGND paints nothing: fills what has to be painted
/// and no visible control covers, so that controls never flicker. Group boxes cover nothing.
void paintBackground(HWND dialog);

} // namespace tonvale
