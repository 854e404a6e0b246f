#include "editor/localized_dialog.h"

#include "core/module_state.h"
#include "host/host_functions.h"

namespace tonvale {

HWND createLocalizedDialog(int resourceId, HWND parent, DLGPROC procedure, void *object) {
    const HINSTANCE module = moduleState().instance;
    auto param = reinterpret_cast<LPARAM>(object);
    // What the host's procedure knows the dialog's own by; it is done with it when the dialog is
    // made.
    constexpr int blockWords = 5;
    void *block[blockWords] = {};
    if (hostFunctions.__localizePrepareDialog) {
        const DLGPROC translating = hostFunctions.__localizePrepareDialog(
            "tonvale_", module, MAKEINTRESOURCEA(resourceId), procedure, param, block, blockWords);
        if (translating) {
            procedure = translating;
            param = reinterpret_cast<LPARAM>(block);
        }
    }
    const HWND dialog =
        CreateDialogParamW(module, MAKEINTRESOURCEW(resourceId), parent, procedure, param);
    return IsWindow(dialog) ? dialog : nullptr;
}

} // namespace tonvale
