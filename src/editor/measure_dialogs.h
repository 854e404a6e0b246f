#pragma once

#include <windows.h>

namespace tonvale {

// The measurement tools as commands of a dialog. Both ask for their files and settings, block until
// the file is written, and tell a failure in a message box. A host that can't write files makes
// them do nothing. `owner` may go while a chooser is open.

/// Writes the test tone.
void generateTestTone(HWND owner);
/// Divides a recording by the tone, and hands the path of the response to `owner`
/// (responseReadyMessage).
void deconvolveRecording(HWND owner);

} // namespace tonvale
