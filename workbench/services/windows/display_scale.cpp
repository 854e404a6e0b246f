#include "workbench/services/window_services.h"

namespace tonvale::workbench {

namespace {

using WindowDpi = UINT(WINAPI *)(HWND);

/// Null on systems where all windows have the screen's resolution.
WindowDpi windowDpiFunction() {
    const HMODULE user = GetModuleHandleW(L"user32.dll");
    return reinterpret_cast<WindowDpi>(
        reinterpret_cast<void *>(GetProcAddress(user, "GetDpiForWindow")));
}

int screenDpi(HWND window) {
    const HDC context = GetDC(window);
    const int dpi = GetDeviceCaps(context, LOGPIXELSX);
    ReleaseDC(window, context);
    return dpi;
}

} // namespace

int displayScale(HWND window) {
    static const WindowDpi windowDpi = windowDpiFunction();
    int dpi = windowDpi ? static_cast<int>(windowDpi(window)) : 0;
    if (dpi <= 0)
        dpi = screenDpi(window);
    return dpi > 0 ? dpi * 256 / 96 : 256;
}

} // namespace tonvale::workbench
