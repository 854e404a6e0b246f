#pragma once

#include <windows.h>

#include <cstdint>

namespace tonvale {

struct ReverbPlugin;

// The controls of the parameters in the main dialog, in both directions: driven by the table of
// parameters. User interface thread.

constexpr uint32_t allControls = ~uint32_t{0};

void prepareParameterControls(HWND dialog);
/// For screen readers, with the other controls of the main dialog that aren't told by their text.
void nameMainControls(HWND dialog);
void unnameMainControls(HWND dialog);
/// Shows the parameters of `mask`, bit i for parameter i, as they are.
void syncControls(ReverbPlugin &plugin, HWND dialog, uint32_t mask);

// What a user did. Each stores the new value and tells the host.

/// `code` is the low word of the fader's message.
void takeFaderMove(ReverbPlugin &plugin, HWND dialog, HWND fader, WORD code);
void takeTypedText(ReverbPlugin &plugin, HWND dialog, int editId);
/// An id that is no toggle's does nothing.
void takeClickedBox(ReverbPlugin &plugin, HWND dialog, int boxId);
void takeMaxFft(ReverbPlugin &plugin, HWND dialog);
/// Gives every other instance in the process this one's Max FFT, ZL and LL.
void copyToAll(ReverbPlugin &plugin);
/// A turn of the wheel over an edit box; false for anything else.
bool takeWheel(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

/// Ends the host's edit gesture, which typed values and clicked boxes open; with `checkFocus` only
/// if the focus has gone elsewhere since.
void endGesture(ReverbPlugin &plugin, bool checkFocus);

} // namespace tonvale
