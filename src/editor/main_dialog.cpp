#include "editor/main_dialog.h"

#include "chain/window_messages.h"
#include "core/reverb_plugin.h"
#include "editor/background.h"
#include "editor/editor_module.h"
#include "editor/label_font.h"
#include "editor/localized_dialog.h"
#include "editor/parameter_controls.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "editor/stage_list.h"

namespace tonvale {

namespace {

constexpr UINT housekeepingPeriod = 200; // milliseconds

/// What a dialog procedure answers where the system wants more than "handled".
INT_PTR answer(HWND dialog, LRESULT result) {
    SetWindowLongPtrW(dialog, DWLP_MSGRESULT, result);
    return TRUE;
}

void reload(ReverbPlugin &plugin, HWND dialog) {
    refreshStageList(plugin, dialog);
    plugin.editor.pendingControlMask = 0;
    syncControls(plugin, dialog, allControls);
}

void open(ReverbPlugin &plugin, HWND dialog) {
    prepareWheelMessage();
    nameMainControls(dialog);
    EditorLink &editor = plugin.editor;
    editor.displayDirty = 0;
    editor.editorWindow.set(dialog);
    editor.stageDialog.set(nullptr);
    editor.currentStage = nullptr;
    editorModule().dragIndex = -1;
    fitLabels(dialog);
    prepareStageList(dialog);
    prepareParameterControls(dialog);
    SetTimer(dialog, housekeepingTimer, housekeepingPeriod, nullptr);
    ShowWindow(dialog, SW_SHOWNA);
    reload(plugin, dialog);
    selectLastStage(dialog);
}

void close(ReverbPlugin &plugin, HWND dialog) {
    const DueWork due = takeDueWork(plugin, dialog);
    unnameMainControls(dialog);
    dropLabelFonts(dialog);
    EditorLink &editor = plugin.editor;
    editor.closeStageDialog();
    editor.displayBitmap.reset();
    editor.editorWindow.set(nullptr);
    // The host, which is told of the end, may close the instance or open another editor from
    // inside, so this window is no part of it any more.
    SetWindowLongPtrW(dialog, GWLP_USERDATA, 0);
    const bool isHeld = isAlive(plugin);
    endGesture(plugin, false);
    if (!isHeld || isAlive(plugin))
        finishWork(plugin, due);
}

void checkDisplay(ReverbPlugin &plugin) {
    if (!plugin.editor.displayDirty)
        return;
    plugin.editor.displayDirty = 0;
    plugin.editor.redrawDisplay();
}

void keepHouse(ReverbPlugin &plugin, HWND dialog) {
    endGesture(plugin, true);
    if (isOpen(plugin, dialog) && plugin.editor.pendingControlMask != 0)
        SendMessageW(dialog, syncControlsMessage, 0, 0);
}

void takeTimer(ReverbPlugin &plugin, HWND dialog, UINT_PTR timer) {
    if (handleRebuildTimer(plugin, dialog, timer))
        return;
    if (timer == housekeepingTimer)
        keepHouse(plugin, dialog);
    if (isOpen(plugin, dialog))
        checkDisplay(plugin);
}

void takeClick(ReverbPlugin &plugin, HWND dialog, int id) {
    switch (id) {
    case MAIN_ADD:
        addStageByMenu(plugin, dialog);
        break;
    case MAIN_REMOVE:
        removeSelectedStages(plugin, dialog);
        break;
    case MAIN_COPY_TO_ALL:
        copyToAll(plugin);
        break;
    default:
        takeClickedBox(plugin, dialog, id);
        break;
    }
}

void takeCommand(ReverbPlugin &plugin, HWND dialog, int id, WORD notification) {
    if (notification == BN_CLICKED)
        takeClick(plugin, dialog, id);
    else if (notification == EN_CHANGE)
        takeTypedText(plugin, dialog, id);
    else if (notification == CBN_SELCHANGE && id == MAIN_MAX_FFT)
        takeMaxFft(plugin, dialog);
}

INT_PTR handleMainDialog(ReverbPlugin &plugin, HWND dialog, UINT message, WPARAM wParam,
                         LPARAM lParam) {
    switch (message) {
    case WM_INITDIALOG:
        open(plugin, dialog);
        return FALSE; // the focus stays where the list put it
    case WM_DESTROY:
        close(plugin, dialog);
        return FALSE;
    case WM_PARENTNOTIFY:
        followStageDialog(plugin, dialog, LOWORD(wParam), reinterpret_cast<HWND>(lParam));
        return FALSE;
    case WM_ERASEBKGND:
        return answer(dialog, 1);
    case WM_PAINT:
        paintBackground(dialog);
        return TRUE;
    case WM_TIMER:
        takeTimer(plugin, dialog, wParam);
        return TRUE;
    case WM_COMMAND:
        takeCommand(plugin, dialog, LOWORD(wParam), HIWORD(wParam));
        return FALSE;
    case WM_NOTIFY: {
        const auto &notice = *reinterpret_cast<const NMHDR *>(lParam);
        if (notice.idFrom == MAIN_STAGE_LIST)
            takeListNotice(plugin, dialog, notice);
        return FALSE;
    }
    case WM_HSCROLL:
    case WM_VSCROLL:
        takeFaderMove(plugin, dialog, reinterpret_cast<HWND>(lParam), LOWORD(wParam));
        return FALSE;
    case WM_MOUSEMOVE:
        dragStage(plugin, dialog);
        return FALSE;
    case WM_LBUTTONDOWN:
        endGesture(plugin, false);
        return FALSE;
    case WM_LBUTTONUP:
        endDrag(dialog);
        return FALSE;
    case WM_DROPFILES:
        takeDrop(plugin, dialog, reinterpret_cast<HDROP>(wParam));
        return FALSE;
    case commitMessage:
        commitRebuild(plugin, dialog);
        return TRUE;
    case syncControlsMessage:
        syncControls(plugin, dialog, plugin.editor.pendingControlMask.exchange(0));
        return TRUE;
    case editorReloadMessage:
        reload(plugin, dialog);
        return TRUE;
    default:
        return takeWheel(dialog, message, wParam, lParam) ? -1 : FALSE;
    }
}

} // namespace

INT_PTR CALLBACK mainDialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return dialogProcedure<ReverbPlugin, handleMainDialog>(window, message, wParam, lParam);
}

bool openEditor(ReverbPlugin &plugin, HWND parent) {
    plugin.editor.close();
    // The host, which is told of what the end commits, may close the instance from inside.
    return isAlive(plugin) &&
           createLocalizedDialog(DIALOG_MAIN, parent, mainDialogProcedure, &plugin) != nullptr;
}

} // namespace tonvale
