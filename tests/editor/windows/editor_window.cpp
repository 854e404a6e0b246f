#include "editor/windows/editor_window.h"

#include "core/module_state.h"
#include "editor/resources/resource.h"
#include "text/wide_text.h"
#include "text/window_text.h"

#include <commctrl.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cstring>
#include <map>
#include <ostream>

namespace tonvale::test {

namespace {

constexpr wchar_t className[] = L"TonvaleTestHost";
constexpr int windowWidth = 620;
constexpr int windowHeight = 500;
constexpr int patience = 5000; // milliseconds

std::map<AEffect *, std::vector<HostNote>> &hostNotesByEffect() {
    static std::map<AEffect *, std::vector<HostNote>> notes;
    return notes;
}

std::pair<int32_t, std::function<void()>> &actionWhenTold() {
    static std::pair<int32_t, std::function<void()>> action;
    return action;
}

intptr_t notingCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                        float opt) {
    if (opcode == audioMasterAutomate || opcode == audioMasterBeginEdit ||
        opcode == audioMasterEndEdit)
        hostNotesByEffect()[effect].push_back({opcode, index, opt});
    if (auto &[awaited, action] = actionWhenTold(); action && opcode == awaited) {
        std::exchange(action, {})(); // behind which the effect may be gone
        return 0;
    }
    return testHostCallback(effect, opcode, index, value, ptr, opt);
}

HWND makeWindow(int number) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    windowClass.lpszClassName = className;
    RegisterClassW(&windowClass);
    return CreateWindowExW(0, className, L"", WS_POPUP | WS_VISIBLE, number * (windowWidth + 10), 0,
                           windowWidth, windowHeight, nullptr, nullptr, windowClass.hInstance,
                           nullptr);
}

void sendMouse(DWORD flags, int data = 0) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = flags;
    input.mi.mouseData = static_cast<DWORD>(data);
    SendInput(1, &input, sizeof input);
    serve(30);
}

void sendKey(WORD key, WORD unit, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.wScan = unit;
    input.ki.dwFlags = flags;
    SendInput(1, &input, sizeof input);
    serve(10);
}

POINT listPoint(HWND list, int row, int code) {
    RECT place{};
    ListView_GetItemRect(list, row, &place, code);
    POINT point{place.left + 4, (place.top + place.bottom) / 2};
    ClientToScreen(list, &point);
    return point;
}

std::function<void()> &laterAction() {
    static std::function<void()> action;
    return action;
}

/// Whether the loop of a menu or a chooser is to get what the user does.
bool isServedElsewhere = false;

void CALLBACK runLater(HWND, UINT, UINT_PTR timer, DWORD) {
    KillTimer(nullptr, timer);
    isServedElsewhere = true;
    std::exchange(laterAction(), {})();
    isServedElsewhere = false;
}

void serveMessage(MSG &message) {
    const HWND top = message.hwnd ? GetAncestor(message.hwnd, GA_ROOT) : nullptr;
    const HWND editor = top ? GetWindow(top, GW_CHILD) : nullptr;
    if (editor && IsDialogMessageW(editor, &message))
        return;
    TranslateMessage(&message);
    DispatchMessageW(&message);
}

} // namespace

HostNote began(int32_t index) {
    return {audioMasterBeginEdit, index, 0.0};
}

HostNote changed(int32_t index, double value) {
    return {audioMasterAutomate, index, static_cast<float>(value)};
}

HostNote ended(int32_t index) {
    return {audioMasterEndEdit, index, 0.0};
}

void PrintTo(const HostNote &note, std::ostream *out) {
    *out << (note.opcode == audioMasterAutomate    ? "changed "
             : note.opcode == audioMasterBeginEdit ? "began "
                                                   : "ended ")
         << note.index << " (" << note.value << ")";
}

EditorWindow::EditorWindow(int number, bool openNow)
    : plugin(*static_cast<ReverbPlugin *>(driver.effect->user))
    , window(makeWindow(number)) {
    moduleState().audioMaster = notingCallback;
    SetForegroundWindow(window);
    if (openNow)
        open();
}

EditorWindow::~EditorWindow() {
    close();
    hostNotesByEffect().erase(driver.effect);
    DestroyWindow(window);
    serve(0);
}

bool EditorWindow::open() {
    const bool done = driver.dispatch(effEditOpen, 0, 0, window) == 1;
    serve();
    return done;
}

std::string EditorWindow::text(int id) const {
    return controlText(dialog(), id);
}

std::vector<std::string> EditorWindow::chain() {
    std::vector<std::string> lines;
    plugin.chain.forEach([&](ImpulseGenerator &stage) {
        char line[512];
        stage.saveText(line, sizeof line);
        lines.push_back((stage.bypassed ? "!" : "") + std::string(line));
    });
    return lines;
}

std::vector<std::string> EditorWindow::listRows() const {
    std::vector<std::string> rows;
    const HWND list = control(MAIN_STAGE_LIST);
    for (int i = 0; i < ListView_GetItemCount(list); ++i)
        rows.push_back(listRowText(list, i));
    return rows;
}

std::vector<int> EditorWindow::selectedRows() const {
    std::vector<int> rows;
    const HWND list = control(MAIN_STAGE_LIST);
    int row = -1;
    while ((row = ListView_GetNextItem(list, row, LVNI_SELECTED)) >= 0)
        rows.push_back(row);
    return rows;
}

std::vector<HostNote> EditorWindow::takeNotes() {
    return std::exchange(hostNotesByEffect()[driver.effect], {});
}

POINT EditorWindow::iconOf(int row) const {
    return listPoint(control(MAIN_STAGE_LIST), row, LVIR_BOUNDS);
}

POINT EditorWindow::nameOf(int row) const {
    return listPoint(control(MAIN_STAGE_LIST), row, LVIR_LABEL);
}

void EditorWindow::drop(const std::vector<std::string> &paths) {
    std::wstring names;
    for (const std::string &path : paths)
        names += wideText(path) + L'\0';
    names += L'\0';
    const size_t size = names.size() * sizeof(wchar_t);
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(DROPFILES) + size);
    auto *head = static_cast<DROPFILES *>(GlobalLock(block));
    head->pFiles = sizeof(DROPFILES);
    head->fWide = TRUE;
    std::memcpy(head + 1, names.data(), size);
    GlobalUnlock(block);
    PostMessageW(dialog(), WM_DROPFILES, reinterpret_cast<WPARAM>(block), 0);
    serve(100);
}

void serve(int milliseconds) {
    if (isServedElsewhere)
        return;
    const DWORD start = GetTickCount();
    DWORD spent = 0;
    do {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            serveMessage(message);
        spent = GetTickCount() - start;
        if (spent < static_cast<DWORD>(milliseconds))
            MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(milliseconds) - spent,
                                      QS_ALLINPUT);
        spent = GetTickCount() - start;
    } while (spent < static_cast<DWORD>(milliseconds));
}

bool serveUntil(const std::function<bool()> &holds) {
    const DWORD start = GetTickCount();
    while (!holds()) {
        if (GetTickCount() - start > patience)
            return false;
        serve(10);
    }
    return true;
}

void later(int milliseconds, std::function<void()> action) {
    laterAction() = std::move(action);
    SetTimer(nullptr, 0, static_cast<UINT>(milliseconds), runLater);
}

void whenTold(int32_t opcode, std::function<void()> action) {
    actionWhenTold() = {opcode, std::move(action)};
}

POINT middleOf(HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    return {(place.left + place.right) / 2, (place.top + place.bottom) / 2};
}

void moveMouse(POINT place) {
    SetCursorPos(place.x, place.y);
    serve(30);
}

void pressMouse() {
    sendMouse(MOUSEEVENTF_LEFTDOWN);
}

void releaseMouse() {
    sendMouse(MOUSEEVENTF_LEFTUP);
}

void click(POINT place) {
    moveMouse(place);
    pressMouse();
    releaseMouse();
}

void click(HWND control) {
    click(middleOf(control));
}

void turnWheel(POINT place, int delta) {
    moveMouse(place);
    sendMouse(MOUSEEVENTF_WHEEL, delta);
}

void holdKey(WORD key) {
    sendKey(key, 0, 0);
}

void letGoKey(WORD key) {
    sendKey(key, 0, KEYEVENTF_KEYUP);
}

void pressKey(WORD key) {
    holdKey(key);
    letGoKey(key);
}

void typeText(const std::string &text) {
    for (const wchar_t unit : wideText(text)) {
        sendKey(0, unit, KEYEVENTF_UNICODE);
        sendKey(0, unit, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP);
    }
}

void typeInto(HWND edit, const std::string &text) {
    click(edit);
    SendMessageW(edit, EM_SETSEL, 0, -1);
    typeText(text);
}

} // namespace tonvale::test
