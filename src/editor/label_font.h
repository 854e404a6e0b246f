#pragma once

#include <windows.h>

namespace tonvale {

// The place of a label is fixed, and its text is as long as the language and the system's font make
// it. For the labels that stand in the dialog itself.

/// Gives a label that is wider than its place a font that is just so much smaller.
void fitLabels(HWND dialog);
/// Before the dialog goes: deletes these fonts.
void dropLabelFonts(HWND dialog);

} // namespace tonvale
