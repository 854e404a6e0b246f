#include "platform/window_handle.h"

namespace tonvale {

#ifdef _WIN32

void WindowHandle::post(UINT message) const {
    if (const HWND window = get())
        PostMessageW(window, message, 0, 0);
}

void WindowHandle::repaintControl(int id) const {
    const HWND window = get();
    const HWND control = window ? GetDlgItem(window, id) : nullptr;
    if (control)
        InvalidateRect(control, nullptr, FALSE);
}

void WindowHandle::destroy() {
    if (const HWND window = handle.exchange(nullptr, std::memory_order_relaxed))
        DestroyWindow(window);
}

#else

void WindowHandle::post(UINT) const {}

void WindowHandle::repaintControl(int) const {}

void WindowHandle::destroy() {
    set(nullptr);
}

#endif

} // namespace tonvale
