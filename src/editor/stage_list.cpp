#include "editor/stage_list.h"

#include "chain/impulse_generator_file.h"
#include "chain/window_messages.h"
#include "core/reverb_plugin.h"
#include "editor/editor_module.h"
#include "editor/mute.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "host/host_functions.h"
#include "host/localized_text.h"
#include "text/file_names.h"
#include "text/window_text.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace tonvale {

namespace {

/// The state icons in the host's program, in the order of the state images.
constexpr WORD stateIcons[] = {141, 142};
constexpr int inUseImage = 1;
constexpr int bypassedImage = 2;
constexpr int normalDpi = 96;
constexpr int normalIconSize = 16;

constexpr UINT selectedAndFocused = LVIS_SELECTED | LVIS_FOCUSED;

constexpr UINT firstMenuItem = 1024;

struct DestroyTheMenu {
    void operator()(HMENU menu) const { DestroyMenu(menu); }
};
using MenuPtr = std::unique_ptr<std::remove_pointer_t<HMENU>, DestroyTheMenu>;

struct FinishTheDrop {
    void operator()(HDROP drop) const { DragFinish(drop); }
};
using DropPtr = std::unique_ptr<std::remove_pointer_t<HDROP>, FinishTheDrop>;

HWND listOf(HWND dialog) {
    return GetDlgItem(dialog, MAIN_STAGE_LIST);
}

HIMAGELIST loadStateImages(HWND dialog) {
    const HDC screen = GetDC(dialog);
    const int dpi = std::max(GetDeviceCaps(screen, LOGPIXELSX), normalDpi);
    ReleaseDC(dialog, screen);
    const int size = normalIconSize * dpi / normalDpi;
    const HIMAGELIST images = ImageList_Create(size, size, ILC_MASK, 2, 2);
    for (const WORD id : stateIcons) {
        const auto icon =
            static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id),
                                          IMAGE_ICON, size, size, LR_DEFAULTCOLOR));
        if (!icon)
            continue;
        ImageList_ReplaceIcon(images, -1, icon);
        DestroyIcon(icon);
    }
    return images;
}

/// The image that tells whether `stage` is bypassed, as bits of a row's state.
UINT stateImageOf(const ImpulseGenerator *stage) {
    return INDEXTOSTATEIMAGEMASK(stage && stage->bypassed ? bypassedImage : inUseImage);
}

void insertRow(HWND list, int row, ImpulseGenerator *stage, UINT state) {
    const char *name =
        stage ? localizedText(stage->getDisplayName(), "tonvale_modname", 0) : "<error>";
    insertListRow(list, row, name, state | stateImageOf(stage));
}

/// The column's width, less a scroll bar where rows have brought one.
void fitColumn(HWND list) {
    RECT inside;
    if (GetClientRect(list, &inside))
        ListView_SetColumnWidth(list, 0, inside.right);
}

struct ListPlace {
    int row; ///< -1 off the rows
    UINT flags;
};

ListPlace placeUnderCursor(HWND list) {
    LVHITTESTINFO hit{};
    GetCursorPos(&hit.pt);
    ScreenToClient(list, &hit.pt);
    hit.iItem = -1;
    ListView_HitTest(list, &hit);
    return {hit.iItem, hit.flags};
}

void putIntoFrame(HWND stageDialog, HWND dialog) {
    RECT frame;
    if (!GetWindowRect(GetDlgItem(dialog, MAIN_STAGE_FRAME), &frame))
        return;
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT *>(&frame), 2);
    SetWindowPos(stageDialog, nullptr, frame.left, frame.top, frame.right - frame.left,
                 frame.bottom - frame.top, SWP_NOZORDER | SWP_NOACTIVATE);
    ShowWindow(stageDialog, SW_SHOWNA);
}

void showFocusedStage(ReverbPlugin &plugin, HWND dialog) {
    EditorLink &editor = plugin.editor;
    if (editor.removingStages || GetCapture() == dialog)
        return;
    const HWND list = listOf(dialog);
    const int row = ListView_GetNextItem(list, -1, LVNI_FOCUSED);
    ImpulseGenerator *stage = plugin.chain.get(row);
    if (!stage || (editor.stageDialog && editor.currentStage == stage))
        return;
    // Forgotten first: at the dialog's end the list may get the keyboard, tell of its focus, and so
    // bring another stage on show.
    editor.currentStage = nullptr;
    editor.stageDialog.destroy();
    if (editor.stageDialog)
        return;
    ListView_SetItemState(list, row, LVIS_FOCUSED, LVIS_FOCUSED);
    editor.currentStage = stage;
    const HWND shown = stage->createDialog(dialog);
    if (!isOpen(plugin, dialog))
        return;
    if (shown)
        putIntoFrame(shown, dialog);
    SetFocus(list);
}

void flipClickedStage(ReverbPlugin &plugin, HWND dialog) {
    const HWND list = listOf(dialog);
    const auto [row, flags] = placeUnderCursor(list);
    ImpulseGenerator *stage = flags & LVHT_ONITEMSTATEICON ? plugin.chain.get(row) : nullptr;
    if (!stage)
        return;
    stage->bypassed = stage->bypassed ? 0 : 1;
    ListView_SetItemState(list, row, stateImageOf(stage), LVIS_STATEIMAGEMASK);
    SendMessageW(dialog, commitMessage, 0, 0);
}

void beginDrag(HWND dialog, int row) {
    editorModule().dragIndex = row;
    SetCapture(dialog);
}

bool isDragging(HWND dialog) {
    return GetCapture() == dialog && editorModule().dragIndex >= 0;
}

/// The row that a drag leads to; -1 for none.
int dragTarget(HWND list) {
    const auto [row, flags] = placeUnderCursor(list);
    const int last = ListView_GetItemCount(list) - 1;
    if (row >= 0)
        return std::min(row, last);
    if (flags & LVHT_BELOW)
        return last;
    return flags & LVHT_ABOVE ? std::min(0, last) : -1;
}

/// The type key that a user picks from the menu of all stages; null for none.
const char *pickStageType(HWND dialog) {
    const MenuPtr menu(CreatePopupMenu());
    std::vector<const char *> keys;
    ImpulseGeneratorType *cursor = nullptr;
    const char *key = nullptr;
    while (const char *name = nextImpulseGeneratorType(cursor, &key)) {
        addMenuItem(menu.get(), firstMenuItem + static_cast<UINT>(keys.size()), name);
        keys.push_back(key);
    }
    RECT button{};
    GetWindowRect(GetDlgItem(dialog, MAIN_ADD), &button);
    const auto picked = static_cast<UINT>(TrackPopupMenu(
        menu.get(), TPM_NONOTIFY | TPM_RETURNCMD, button.left, button.bottom, 0, dialog, nullptr));
    const size_t index = picked - firstMenuItem;
    return picked >= firstMenuItem && index < keys.size() ? keys[index] : nullptr;
}

/// False where memory is out.
bool append(ReverbPlugin &plugin, ImpulseChain::Stage stage) {
    plugin.chain.insert(plugin.chain.getSize(), stage);
    return !stage;
}

void showAsLast(ReverbPlugin &plugin, HWND dialog) {
    SendMessageW(dialog, editorReloadMessage, 0, 0);
    if (isOpen(plugin, dialog))
        selectLastStage(dialog);
}

bool isMedia(const std::string &path) {
    const size_t name = path.find_last_of("/\\") + 1; // 0 where there is no folder
    const size_t dot = path.find_last_of('.');
    return dot != std::string::npos && dot >= name && hostFunctions.IsMediaExtension &&
           hostFunctions.IsMediaExtension(path.c_str() + dot + 1, 0);
}

/// Keeps the flags, which come first in a File stage's state; the path follows.
void giveFile(ImpulseGenerator &stage, const std::string &path) {
    constexpr size_t flagBytes = 4;
    HeapBuffer state;
    stage.saveState(state);
    const auto size = static_cast<int32_t>(flagBytes + path.size() + 1);
    state.resize(size, false);
    if (state.getSize() == size)
        std::memcpy(static_cast<char *>(state.get()) + flagBytes, path.c_str(), path.size() + 1);
    stage.loadState(ImpulseGenerator_File::typeKey, state.get(), state.getSize());
}

/// The File stage on show, for a single file and without the Control key; else null.
ImpulseGenerator *stageToReuse(ReverbPlugin &plugin, bool isSingle) {
    ImpulseGenerator *shown = plugin.editor.currentStage;
    // A drop comes while another program has the keyboard: what this one has heard of it is old.
    const bool control = (GetAsyncKeyState(VK_CONTROL) & 0x8000) != 0;
    if (!isSingle || !shown || control)
        return nullptr;
    return std::strcmp(shown->getTypeKey(), ImpulseGenerator_File::typeKey) == 0 ? shown : nullptr;
}

/// False where there is no more memory for stages.
bool takeDroppedFile(ReverbPlugin &plugin, const std::string &path, bool isSingle) {
    if (ImpulseGenerator *shown = stageToReuse(plugin, isSingle)) {
        giveFile(*shown, path);
        return true;
    }
    ImpulseChain::Stage stage(createImpulseGenerator(ImpulseGenerator_File::typeKey, &plugin));
    if (!stage)
        return false;
    giveFile(*stage, path);
    return append(plugin, std::move(stage));
}

} // namespace

void prepareStageList(HWND dialog) {
    EditorModule &module = editorModule();
    if (!module.stateImageList)
        module.stateImageList = loadStateImages(dialog);
    const HWND list = listOf(dialog);
    ListView_SetImageList(list, module.stateImageList, LVSIL_STATE);
    LVCOLUMNW column{};
    ListView_InsertColumn(list, 0, &column);
    fitColumn(list);
}

void refreshStageList(ReverbPlugin &plugin, HWND dialog) {
    // The rows that a drag went over are no more.
    if (isDragging(dialog))
        endDrag(dialog);
    const HWND list = listOf(dialog);
    ListView_DeleteAllItems(list);
    // Without rows the list, which may get the keyboard now, brings no other stage on show.
    plugin.editor.closeStageDialog();
    const int32_t stages = plugin.chain.getSize();
    for (int32_t i = 0; i < stages; ++i)
        insertRow(list, i, plugin.chain.get(i), 0);
    fitColumn(list);
}

void selectLastStage(HWND dialog) {
    const HWND list = listOf(dialog);
    const int last = ListView_GetItemCount(list) - 1;
    if (last < 0)
        return;
    ListView_SetItemState(list, last, selectedAndFocused, selectedAndFocused);
    ListView_EnsureVisible(list, last, FALSE);
}

void followStageDialog(ReverbPlugin &plugin, HWND dialog, UINT event, HWND child) {
    if (GetClassLongPtrW(child, GCW_ATOM) != reinterpret_cast<ULONG_PTR>(WC_DIALOG))
        return;
    WindowHandle &shown = plugin.editor.stageDialog;
    // Known before it starts: what a host does from inside the start then finds it.
    if (event == WM_CREATE)
        shown.set(child);
    if (event != WM_DESTROY)
        return;
    if (shown.get() == child)
        shown.set(nullptr);
    // It may hold the keyboard, which stays with the editor.
    const HWND focus = GetFocus();
    if (focus == child || IsChild(child, focus))
        SetFocus(listOf(dialog));
}

void addStageByMenu(ReverbPlugin &plugin, HWND dialog) {
    const char *key = pickStageType(dialog);
    if (!key || !isOpen(plugin, dialog))
        return;
    ImpulseChain::Stage stage(createImpulseGenerator(key, &plugin));
    if (!stage || !append(plugin, std::move(stage)))
        return;
    plugin.rebuildImpulse();
    showAsLast(plugin, dialog);
    if (!isAlive(plugin))
        return;
    if (const HWND shown = plugin.editor.stageDialog.get())
        SendMessageW(shown, stageAddedMessage, 0, 0);
    if (isAlive(plugin))
        plugin.tellHostOfChange();
}

void removeSelectedStages(ReverbPlugin &plugin, HWND dialog) {
    const HWND list = listOf(dialog);
    bool removed = false;
    {
        Mute removing(plugin.editor.removingStages);
        int row = 0;
        while (row < ListView_GetItemCount(list)) {
            if (!ListView_GetItemState(list, row, LVIS_SELECTED)) {
                ++row;
                continue;
            }
            ImpulseChain::Stage stage = plugin.chain.take(row);
            plugin.editor.closeDialogOf(stage.get());
            ListView_DeleteItem(list, row);
            plugin.retire(std::move(stage));
            removed = true;
        }
    }
    if (removed)
        rebuildAndTellHost(plugin);
}

void takeListNotice(ReverbPlugin &plugin, HWND dialog, const NMHDR &notice) {
    switch (notice.code) {
    case LVN_ITEMCHANGED:
        showFocusedStage(plugin, dialog);
        break;
    case NM_CLICK:
    case NM_DBLCLK:
        flipClickedStage(plugin, dialog);
        break;
    case LVN_BEGINDRAG:
        beginDrag(dialog, reinterpret_cast<const NMLISTVIEW &>(notice).iItem);
        break;
    }
}

void dragStage(ReverbPlugin &plugin, HWND dialog) {
    if (!isDragging(dialog))
        return;
    const HWND list = listOf(dialog);
    int32_t &from = editorModule().dragIndex;
    const int to = dragTarget(list);
    ImpulseGenerator *stage = plugin.chain.get(from);
    if (to < 0 || to == from || !stage)
        return;
    plugin.chain.move(from, to);
    ListView_DeleteItem(list, from);
    from = to;
    insertRow(list, to, stage, selectedAndFocused);
    ListView_EnsureVisible(list, to, TRUE);
    rebuildAndTellHost(plugin);
}

void endDrag(HWND dialog) {
    // Also where another editor, which opened meanwhile, has forgotten the row.
    if (GetCapture() != dialog)
        return;
    editorModule().dragIndex = -1;
    ReleaseCapture();
}

void takeDrop(ReverbPlugin &plugin, HWND dialog, HDROP drop) {
    const std::vector<std::string> paths = [drop] {
        const DropPtr ended(drop);
        return droppedNames(drop);
    }();
    for (const std::string &path : paths) {
        if (!isMedia(path))
            continue;
        if (!takeDroppedFile(plugin, path, paths.size() == 1))
            break;
        showAsLast(plugin, dialog);
    }
    plugin.rebuildImpulse();
    if (isOpen(plugin, dialog))
        InvalidateRect(dialog, nullptr, FALSE);
}

} // namespace tonvale
