#pragma once

#ifdef _WIN32
#include <windows.h>
#else

#include <cstdint>

// Where there are no windows, their handles are pointers that nobody looks behind, so that records
// and tables that others read have one shape everywhere.

using HWND = struct HWND__ *;
using HINSTANCE = struct HINSTANCE__ *;
using UINT = unsigned int;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using DLGPROC = intptr_t (*)(HWND, UINT, WPARAM, LPARAM);

#endif
