#include "core/editor_link.h"

// The editor of a module without windows.

namespace tonvale {

bool openEditor(ReverbPlugin &, HWND) {
    return false;
}

void addEditorUser() {}

void removeEditorUser() {}

HWND createStageDialog(ImpulseGenerator &, HWND) {
    return nullptr;
}

} // namespace tonvale
