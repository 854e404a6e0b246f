#include "editor/windows/editor_window.h"

#include "core/module_state.h"
#include "editor/resources/resource.h"
#include "text/wide_text.h"
#include "text/window_text.h"

#include <commctrl.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>

namespace tonvale::test {

namespace {

constexpr int windowWidth = 620;
constexpr int windowHeight = 500;
constexpr DWORD patience = 5000; // milliseconds
constexpr LONG handStep = 8;     // pixels

std::map<AEffect *, std::vector<HostNote>> notesByEffect;
std::pair<int32_t, std::function<void()>> actionWhenTold;
std::function<void()> laterAction;
/// Whether the loop of a menu or a chooser is to get what the user does.
bool isServedElsewhere = false;

intptr_t notingCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                        float opt) {
    if (opcode == audioMasterAutomate || opcode == audioMasterBeginEdit ||
        opcode == audioMasterEndEdit)
        notesByEffect[effect].emplace_back(opcode, index, opt);
    if (auto &[awaited, action] = actionWhenTold; action && opcode == awaited) {
        std::exchange(action, {})(); // behind which the effect may be gone
        return 0;
    }
    return testHostCallback(effect, opcode, index, value, ptr, opt);
}

void send(INPUT input, int milliseconds) {
    SendInput(1, &input, sizeof input);
    serve(milliseconds);
}

void sendMouse(DWORD flags, int data = 0) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = flags;
    input.mi.mouseData = static_cast<DWORD>(data);
    send(input, 30);
}

void sendKey(WORD key, WORD unit, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.wScan = unit;
    input.ki.dwFlags = flags;
    send(input, 10);
}

POINT listPoint(HWND list, int row, int code) {
    RECT place{};
    ListView_GetItemRect(list, row, &place, code);
    POINT point{place.left + 4, (place.top + place.bottom) / 2};
    ClientToScreen(list, &point);
    return point;
}

void CALLBACK runLater(HWND, UINT, UINT_PTR timer, DWORD) {
    KillTimer(nullptr, timer);
    isServedElsewhere = true;
    std::exchange(laterAction, {})();
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

EditorWindow::EditorWindow(const Lines &chain, int number, bool openNow)
    : plugin(*static_cast<ReverbPlugin *>(driver.effect->user))
    , window(CreateWindowExW(0, L"Static", L"", WS_POPUP | WS_VISIBLE, number * (windowWidth + 10),
                             0, windowWidth, windowHeight, nullptr, nullptr, nullptr, nullptr)) {
    moduleState().audioMaster = notingCallback;
    SetForegroundWindow(window);
    driver.setChain(chain);
    if (openNow)
        open();
    takeNotes();
}

EditorWindow::~EditorWindow() {
    close();
    notesByEffect.erase(driver.effect);
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

std::string EditorWindow::stageText(int id) const {
    return controlText(stage(), id);
}

Lines EditorWindow::chain() {
    Lines lines;
    plugin.chain.forEach([&](ImpulseGenerator &stage) {
        char line[512];
        stage.saveText(line, sizeof line);
        lines.push_back((stage.bypassed ? "!" : "") + std::string(line));
    });
    return lines;
}

Lines EditorWindow::listRows() const {
    Lines rows;
    const HWND list = control(MAIN_STAGE_LIST);
    for (int i = 0; i < ListView_GetItemCount(list); ++i)
        rows.push_back(listRowText(list, i));
    return rows;
}

std::vector<int> EditorWindow::selectedRows() const {
    std::vector<int> rows;
    int row = -1;
    while ((row = ListView_GetNextItem(control(MAIN_STAGE_LIST), row, LVNI_SELECTED)) >= 0)
        rows.push_back(row);
    return rows;
}

POINT EditorWindow::iconOf(int row) const {
    return listPoint(control(MAIN_STAGE_LIST), row, LVIR_BOUNDS);
}

POINT EditorWindow::nameOf(int row) const {
    return listPoint(control(MAIN_STAGE_LIST), row, LVIR_LABEL);
}

void EditorWindow::drop(const Lines &paths) const {
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

std::vector<HostNote> EditorWindow::takeNotes() const {
    return std::exchange(notesByEffect[driver.effect], {});
}

void serve(int milliseconds) {
    if (isServedElsewhere)
        return;
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            serveMessage(message);
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    }
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
    laterAction = std::move(action);
    SetTimer(nullptr, 0, static_cast<UINT>(milliseconds), runLater);
}

void whenTold(int32_t opcode, std::function<void()> action) {
    actionWhenTold = {opcode, std::move(action)};
}

RECT placeOf(HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    return place;
}

POINT middleOf(HWND window) {
    const RECT place = placeOf(window);
    return {(place.left + place.right) / 2, (place.top + place.bottom) / 2};
}

LRESULT itemOn(HWND comboBox) {
    return SendMessageW(comboBox, CB_GETCURSEL, 0, 0);
}

bool isChecked(HWND box) {
    return SendMessageW(box, BM_GETCHECK, 0, 0) == BST_CHECKED;
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

void drag(POINT from, POINT to) {
    moveMouse(from);
    pressMouse();
    const LONG across = to.x - from.x, down = to.y - from.y;
    const LONG steps = std::max(std::abs(across), std::abs(down)) / handStep + 1;
    for (LONG i = 1; i <= steps; ++i)
        moveMouse({from.x + across * i / steps, from.y + down * i / steps});
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
