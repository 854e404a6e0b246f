#pragma once

#include <cstdint>

// The part of the Windows interface that this program calls, with the true types and values, for
// systems that lack it. It grows by what is called and by nothing else.

using BOOL = int;
using UINT = unsigned int;
using DWORD = uint32_t;
using ATOM = uint16_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using INT_PTR = intptr_t;
using UINT_PTR = uintptr_t;

using HINSTANCE = struct HINSTANCE__ *;
using HWND = struct HWND__ *;
using HICON = struct HICON__ *;
using HCURSOR = HICON;
using HBRUSH = struct HBRUSH__ *;
using HIMAGELIST = struct _IMAGELIST *;

using WNDPROC = LRESULT (*)(HWND, UINT, WPARAM, LPARAM);
using DLGPROC = INT_PTR (*)(HWND, UINT, WPARAM, LPARAM);
using TIMERPROC = void (*)(HWND, UINT, UINT_PTR, DWORD);

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

struct RECT {
    int32_t left, top, right, bottom;
};

struct WNDCLASS {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    const char *lpszMenuName;
    const char *lpszClassName;
};

/// The stock arrow cursor, as a resource number in a pointer.
inline const char *const IDC_ARROW = reinterpret_cast<const char *>(uintptr_t{32512});

#pragma GCC visibility push(default)
extern "C" {

ATOM RegisterClass(const WNDCLASS *windowClass);
BOOL UnregisterClass(const char *className, HINSTANCE instance);
BOOL GetClassInfo(HINSTANCE instance, const char *className, WNDCLASS *out);
HCURSOR LoadCursor(HINSTANCE instance, const char *name);

BOOL IsWindow(HWND window);
BOOL DestroyWindow(HWND window);
LRESULT DefWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
HWND GetDlgItem(HWND dialog, int control);
BOOL InvalidateRect(HWND window, const RECT *area, BOOL erase);
UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC call);
BOOL KillTimer(HWND window, UINT_PTR id);
}
#pragma GCC visibility pop
