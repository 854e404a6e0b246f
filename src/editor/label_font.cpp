#include "editor/label_font.h"

#include "text/wide_text.h"
#include "text/window_text.h"

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>

namespace tonvale {

namespace {

/// A fifth of its height is what a font may lose; what is still too wide then stays cut.
constexpr LONG mostLost = 5;

HFONT fontOf(HWND window) {
    return reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0));
}

template <class Use>
void forEachLabel(HWND dialog, Use use) {
    for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        wchar_t name[16] = L"";
        GetClassNameW(child, name, static_cast<int>(std::size(name)));
        if (_wcsicmp(name, L"Static") == 0)
            use(child);
    }
}

int widthOf(HDC context, HFONT font, const std::wstring &text) {
    const HGDIOBJ before = SelectObject(context, font);
    RECT place{};
    DrawTextW(context, text.c_str(), -1, &place, DT_CALCRECT | DT_SINGLELINE);
    SelectObject(context, before);
    return place.right;
}

void fit(HDC context, HWND label, HFONT font) {
    const std::wstring text = wideText(windowText(label));
    RECT room{};
    GetClientRect(label, &room);
    LOGFONTW kind{};
    if (widthOf(context, font, text) <= room.right || !GetObjectW(font, sizeof kind, &kind))
        return;
    // Negative for the height of the characters themselves.
    const LONG step = kind.lfHeight < 0 ? 1 : -1;
    for (LONG left = std::abs(kind.lfHeight) / mostLost; left > 0; --left) {
        kind.lfHeight += step;
        const HFONT smaller = CreateFontIndirectW(&kind);
        if (widthOf(context, smaller, text) <= room.right) {
            SendMessageW(label, WM_SETFONT, reinterpret_cast<WPARAM>(smaller), FALSE);
            return;
        }
        DeleteObject(smaller);
    }
}

} // namespace

void fitLabels(HWND dialog) {
    const HFONT font = fontOf(dialog);
    const auto release = [dialog](HDC context) { ReleaseDC(dialog, context); };
    const std::unique_ptr<std::remove_pointer_t<HDC>, decltype(release)> context(GetDC(dialog),
                                                                                 release);
    forEachLabel(dialog, [&](HWND label) { fit(context.get(), label, font); });
}

void dropLabelFonts(HWND dialog) {
    const HFONT font = fontOf(dialog);
    forEachLabel(dialog, [font](HWND label) {
        if (fontOf(label) != font)
            DeleteObject(fontOf(label));
    });
}

} // namespace tonvale
