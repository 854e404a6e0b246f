#include "editor/rebuild_schedule.h"

#include "chain/window_messages.h"
#include "core/reverb_plugin.h"
#include "editor/editor_module.h"

namespace tonvale {

namespace {

// Milliseconds.
constexpr UINT rebuildDelay = 250;
constexpr UINT tellHostDelay = 500;

/// What was due by them.
DueWork stopTimers(HWND mainDialog) {
    const bool rebuild = KillTimer(mainDialog, rebuildTimer) != 0;
    const bool tellHost = KillTimer(mainDialog, tellHostTimer) != 0;
    return {rebuild, tellHost};
}

/// Whether a request was on its way.
bool takeCommitMessages(HWND mainDialog) {
    bool found = false;
    MSG queued;
    while (PeekMessageW(&queued, mainDialog, commitMessage, commitMessage, PM_REMOVE)) {
        // This one comes through every filter, and isn't for here.
        if (queued.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(queued.wParam));
            break;
        }
        found = true;
    }
    return found;
}

void rebuildAfterPause(ReverbPlugin &plugin, HWND mainDialog) {
    stopTimers(mainDialog);
    plugin.rebuildImpulse();
    if (isOpen(plugin, mainDialog))
        SetTimer(mainDialog, tellHostTimer, tellHostDelay, nullptr);
    else if (isAlive(plugin))
        plugin.tellHostOfChange();
}

void tellHostAtRest(ReverbPlugin &plugin, HWND mainDialog) {
    if (IsChild(mainDialog, GetCapture()))
        return;
    KillTimer(mainDialog, tellHostTimer);
    plugin.tellHostOfChange();
}

} // namespace

void scheduleRebuild(HWND stageDialog, bool immediately) {
    const HWND mainDialog = stageDialog ? GetParent(stageDialog) : nullptr;
    if (!mainDialog)
        return;
    stopTimers(mainDialog);
    if (immediately)
        PostMessageW(mainDialog, commitMessage, 0, 0);
    else
        SetTimer(mainDialog, rebuildTimer, rebuildDelay, nullptr);
}

void rebuildAndTellHost(ReverbPlugin &plugin) {
    const bool isHeld = isAlive(plugin);
    plugin.rebuildImpulse();
    if (isAlive(plugin) == isHeld)
        plugin.tellHostOfChange();
}

void commitRebuild(ReverbPlugin &plugin, HWND mainDialog) {
    stopTimers(mainDialog);
    rebuildAndTellHost(plugin);
}

bool handleRebuildTimer(ReverbPlugin &plugin, HWND mainDialog, UINT_PTR timer) {
    switch (timer) {
    case rebuildTimer:
        rebuildAfterPause(plugin, mainDialog);
        return true;
    case tellHostTimer:
        tellHostAtRest(plugin, mainDialog);
        return true;
    default:
        return false;
    }
}

DueWork takeDueWork(const ReverbPlugin &plugin, HWND mainDialog) {
    DueWork due = stopTimers(mainDialog);
    due.rebuild |= takeCommitMessages(mainDialog);
    // A gesture on a stage's control that its end would have committed.
    due.rebuild |= IsChild(plugin.editor.stageDialog.get(), GetCapture()) != 0;
    return due;
}

void finishWork(ReverbPlugin &plugin, const DueWork &due) {
    if (due.rebuild)
        rebuildAndTellHost(plugin);
    else if (due.tellHost)
        plugin.tellHostOfChange();
}

} // namespace tonvale
