#pragma once

#include <windows.h>

namespace tonvale {

/// The procedure of an instance's editor; the dialog's object is its ReverbPlugin.
INT_PTR CALLBACK mainDialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

} // namespace tonvale
