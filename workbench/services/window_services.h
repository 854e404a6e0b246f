#pragma once

#include "host/host_objects.h"
#include "platform/window_types.h"

namespace tonvale::workbench {

// What this host lends an editor where there are windows. All of it on the thread of the user
// interface. Elsewhere there is no bitmap, no name and no dialog, and all is at plain size.

/// Registers the classes of the fader windows, once; hostFunction does it when a function is first
/// asked for.
void prepareWindows();

/// SetWindowAccessibilityString: the name by which a screen reader calls a control; null gives the
/// control its own name back. False where it couldn't be set.
bool setAccessibleName(HWND window, const char *text, int zero);

/// GetWindowDPIScaling: 256 for 96 dots an inch, and in proportion.
int displayScale(HWND window);

/// GLYX_CreateBitmap: a bitmap of at most 16384 by 16384 pixels with a device context, for text and
/// BitBlt; its rows are longer than its width. resize() keeps nothing of the picture; where memory
/// fails it answers false and leaves the bitmap as it was. The extended call 8194 tells it the
/// scale that it is shown at. Null where it can't be made.
HostBitmap *createBitmap(int one, int width, int height);

/// __localizePrepareDialog: null where nothing is translated. Otherwise a procedure to make the
/// dialog with, `block` as its parameter, which translates the controls by the section of `prefix`
/// and the dialog, such as tonvale_DLG_101, before `procedure` sees WM_INITDIALOG and takes over.
/// `block` has five words, and `prefix` lives as long as the process.
DLGPROC prepareDialog(const char *prefix, HINSTANCE module, const char *resource, DLGPROC procedure,
                      LPARAM parameter, void **block, int five);

/// __localizeInitializeDialog: translates the controls of a dialog that is there already.
void initialiseDialog(HWND dialog, const char *section);

} // namespace tonvale::workbench
