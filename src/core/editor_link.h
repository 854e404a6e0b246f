#pragma once

#include "chain/impulse_generator.h"
#include "host/host_object_ptr.h"
#include "platform/window_handle.h"

namespace tonvale {

struct ReverbPlugin;

/// What an instance and its editor know of each other. All of it is null or 0 without an editor.
/// The posts come from any thread, the rest from the thread of the user interface, but where a
/// field is relaxed.
struct EditorLink {
    WindowHandle editorWindow;
    WindowHandle stageDialog;
    Relaxed<ImpulseGenerator *> currentStage{nullptr}; ///< the one on show
    Relaxed<int32_t> displayDirty{0}; ///< 1 after each rebuild, until the display is painted anew
    Relaxed<uint32_t> pendingControlMask{0}; ///< bit i: parameter i has to be shown anew
    int32_t removingStages = 0;              ///< 1 while rows go, which mutes the list's notices
    Relaxed<int32_t> touchedParam{-1};       ///< parameter of the open automation gesture
    WindowHandle touchedFocus;               ///< what had the focus when the gesture began
    HostObjectPtr<HostBitmap> displayBitmap;

    void postReload() const;
    void redrawDisplay() const;
    void forgetGesture();
    void closeStageDialog();
    /// Closes the stage dialog if it is the one of `stage`, which is about to go.
    void closeDialogOf(const ImpulseGenerator *stage);
    void close();
};

// What the editor defines for the core, on the thread of the user interface.

/// Makes the editor of `plugin` as a child of `parent`. False where it can't be made.
bool openEditor(ReverbPlugin &plugin, HWND parent);
/// An instance is there, or gone: what all editors share lives as long as one is.
void addEditorUser();
void removeEditorUser();

} // namespace tonvale
