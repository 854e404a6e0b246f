#pragma once

#include <windows.h>

namespace tonvale {

// The messages of the host's fader windows. A fader tells its parent of a move by WM_HSCROLL or
// WM_VSCROLL with itself as lParam. All of these do nothing for a null fader.

/// Low words of that message's wParam.
constexpr WORD faderLetGo = SB_ENDSCROLL;
constexpr WORD faderWantsDisplay = 1045; ///< the editor's picture is to follow at once

void enableFader(HWND fader);
/// 0 to 1000, but for decibels where it goes as the host's law does.
void setFaderPosition(HWND fader, int position);
int faderPosition(HWND fader);
/// Where a double click leads; -1 on a fader for decibels.
void setFaderDefault(HWND fader, int position);
/// The spoken name. The host copies a text that is `temporary`, and keeps the address of another.
void setFaderLabel(HWND fader, const char *text, bool temporary);
/// The spoken value, copied.
void setFaderValueText(HWND fader, const char *text);

} // namespace tonvale
