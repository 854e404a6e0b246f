#pragma once

#include <windows.h>

namespace tonvale {

/// The Channel Tool's dialog, of an ImpulseGenerator_ChanTool.
INT_PTR CALLBACK channelToolProcedure(HWND, UINT, WPARAM, LPARAM);

} // namespace tonvale
