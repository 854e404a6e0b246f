#pragma once

#include <windows.h>

#include <exception>

namespace tonvale {

/// Makes a modeless dialog from the module's resources as a child of `parent`, by way of the host's
/// translation where it has one. `object` reaches dialogProcedure. Null where it can't be made, or
/// where its start failed.
HWND createLocalizedDialog(int resourceId, HWND parent, DLGPROC procedure, void *object);

/// The procedure of a dialog that stands for an Object: keeps it in the window's user data from
/// WM_INITDIALOG to the end of WM_DESTROY, and drops every message outside of that. No exception
/// gets through to the system: what threw counts as not handled, and a dialog whose start threw
/// goes again.
template <class Object, INT_PTR (*handle)(Object &, HWND, UINT, WPARAM, LPARAM)>
INT_PTR CALLBACK dialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG)
        SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
    auto *object = reinterpret_cast<Object *>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!object)
        return FALSE;
    INT_PTR handled = FALSE;
    try {
        handled = handle(*object, window, message, wParam, lParam);
    } catch (const std::exception &) {
        handled = FALSE;
        if (message == WM_INITDIALOG)
            DestroyWindow(window);
    }
    if (message == WM_DESTROY)
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    return handled;
}

} // namespace tonvale
