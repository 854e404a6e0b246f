#include "core/editor_link.h"

#include "chain/window_messages.h"

namespace tonvale {

namespace {

/// The display in the editor's dialog.
constexpr int displayControl = 1048;

} // namespace

void EditorLink::postReload() const {
    editorWindow.post(editorReloadMessage);
}

void EditorLink::redrawDisplay() const {
    editorWindow.repaintControl(displayControl);
}

void EditorLink::forgetGesture() {
    touchedParam = -1;
    touchedFocus.set(nullptr);
}

void EditorLink::closeStageDialog() {
    // First, since its end may bring another stage on show.
    currentStage = nullptr;
    stageDialog.destroy();
}

void EditorLink::closeDialogOf(const ImpulseGenerator *stage) {
    if (stage && currentStage == stage)
        closeStageDialog();
}

void EditorLink::close() {
    editorWindow.destroy();
}

} // namespace tonvale
