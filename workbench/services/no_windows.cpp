#include "workbench/services/window_services.h"

// The half for a system without windows.

namespace tonvale::workbench {

void prepareWindows() {}

bool setAccessibleName(HWND, const char *, int) {
    return false;
}

int displayScale(HWND) {
    return 256;
}

HostBitmap *createBitmap(int, int, int) {
    return nullptr;
}

DLGPROC prepareDialog(const char *, HINSTANCE, const char *, DLGPROC, LPARAM, void **, int) {
    return nullptr;
}

void initialiseDialog(HWND, const char *) {}

} // namespace tonvale::workbench
