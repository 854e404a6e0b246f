#include "editor/editor_module.h"

#include "core/editor_link.h"
#include "core/module_state.h"
#include "editor/impulse_display.h"

namespace tonvale {

EditorModule &editorModule() {
    static EditorModule module;
    return module;
}

bool isOpen(const ReverbPlugin &plugin, HWND dialog) {
    return GetWindowLongPtrW(dialog, GWLP_USERDATA) == reinterpret_cast<LONG_PTR>(&plugin);
}

void prepareWheelMessage() {
    UINT &message = editorModule().wheelMessage;
    if (message == 0)
        message = RegisterWindowMessageW(L"MSWHEEL_ROLLMSG");
}

void addEditorUser() {
    if (editorModule().users++ > 0)
        return;
    const INITCOMMONCONTROLSEX classes{sizeof classes, ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&classes);
    registerImpulseDisplay(moduleState().instance);
}

void removeEditorUser() {
    EditorModule &module = editorModule();
    if (--module.users > 0)
        return;
    unregisterImpulseDisplay(moduleState().instance);
    if (module.stateImageList)
        ImageList_Destroy(module.stateImageList);
    module.stateImageList = nullptr;
}

} // namespace tonvale
