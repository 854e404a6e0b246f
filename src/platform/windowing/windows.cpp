#include <windows.h>

// Calls on windows. This library makes no window yet, so no handle names one and each call answers
// as the system does for a handle that has gone: a post to a dialog that just closed is lost.

BOOL IsWindow(HWND) {
    return FALSE;
}

BOOL DestroyWindow(HWND) {
    return FALSE;
}

LRESULT DefWindowProc(HWND, UINT, WPARAM, LPARAM) {
    return 0;
}

BOOL PostMessage(HWND, UINT, WPARAM, LPARAM) {
    return FALSE;
}

HWND GetDlgItem(HWND, int) {
    return nullptr;
}

BOOL InvalidateRect(HWND, const RECT *, BOOL) {
    return FALSE;
}

UINT_PTR SetTimer(HWND, UINT_PTR, UINT, TIMERPROC) {
    return 0;
}

BOOL KillTimer(HWND, UINT_PTR) {
    return FALSE;
}
