#include "editor/background.h"

#include <cwchar>
#include <iterator>

namespace tonvale {

namespace {

/// Enough for any dialog; a window with more children fills under some of them.
constexpr int mostChildren = 200;

/// System colours also come as their number and 1, which is no brush to paint with here.
constexpr LRESULT largestColourNumber = 0x10000;

bool isGroupBox(HWND window) {
    wchar_t name[16] = L"";
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    const LONG_PTR type = GetWindowLongPtrW(window, GWL_STYLE) & BS_TYPEMASK;
    return type == BS_GROUPBOX && _wcsicmp(name, L"Button") == 0;
}

/// Takes a window's rectangle out of what is painted. False where nothing is left.
bool cutOut(HDC target, HWND dialog, HWND child) {
    RECT covered;
    GetWindowRect(child, &covered);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT *>(&covered), 2);
    return ExcludeClipRect(target, covered.left, covered.top, covered.right, covered.bottom) !=
           NULLREGION;
}

/// False where the controls cover all that has to be painted.
bool cutOutControls(HDC target, HWND dialog) {
    int count = 0;
    for (HWND child = GetWindow(dialog, GW_CHILD); child && count < mostChildren;
         child = GetWindow(child, GW_HWNDNEXT)) {
        if (!IsWindowVisible(child))
            continue;
        ++count;
        if (!isGroupBox(child) && !cutOut(target, dialog, child))
            return false;
    }
    return true;
}

HBRUSH brushOf(HDC target, HWND dialog) {
    const LRESULT brush = SendMessageW(dialog, WM_CTLCOLORDLG, reinterpret_cast<WPARAM>(target),
                                       reinterpret_cast<LPARAM>(dialog));
    return brush > largestColourNumber ? reinterpret_cast<HBRUSH>(brush)
                                       : GetSysColorBrush(COLOR_BTNFACE);
}

} // namespace

void paintBackground(HWND dialog) {
    PAINTSTRUCT paint;
    const HDC target = BeginPaint(dialog, &paint);
    if (cutOutControls(target, dialog))
        FillRect(target, &paint.rcPaint, brushOf(target, dialog));
    EndPaint(dialog, &paint);
}

} // namespace tonvale
