#pragma once

#include <windows.h>

namespace tonvale {

/// The File stage's dialog, of an ImpulseGenerator_File.
INT_PTR CALLBACK fileProcedure(HWND, UINT, WPARAM, LPARAM);

} // namespace tonvale
