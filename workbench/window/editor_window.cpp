#include "workbench/window/editor_window.h"

#include "workbench/window/picture_file.h"
#include "workbench/window/problem.h"

#include <windows.h>

#include <algorithm>
#include <commctrl.h>
#include <exception>
#include <functional>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr wchar_t className[] = L"TonvaleEditorWindow";
constexpr wchar_t dialogClass[] = L"#32770";
constexpr int stageListControl = 1076;
constexpr DWORD windowStyle = WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN;

constexpr UINT_PTR idleTimer = 1;
constexpr UINT idlePeriod = 50; ///< ms
constexpr UINT_PTR stepTimer = 2;
constexpr UINT stepPeriod = 600; ///< ms: time for the editor to show what a step did

class EditorWindow {
  public:
    EditorWindow(EditorEffect &ownEffect, const WindowOptions &ownOptions)
        : effect(ownEffect)
        , options(ownOptions) {
        makeWindow();
        try {
            effect.openEditor(window);
        } catch (...) {
            DestroyWindow(window);
            throw;
        }
        fitToEditor();
        ShowWindow(window, SW_SHOW);
        planSteps();
        SetTimer(window, idleTimer, idlePeriod, nullptr);
        if (!steps.empty())
            SetTimer(window, stepTimer, stepPeriod, nullptr);
    }

    void run() {
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (IsDialogMessageW(editor(), &message))
                continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (failure)
            std::rethrow_exception(failure);
    }

  private:
    void makeWindow() {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = procedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
        windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
        windowClass.lpszClassName = className;
        RegisterClassW(&windowClass);
        window =
            CreateWindowExW(0, className, L"Tonvale", windowStyle, CW_USEDEFAULT, CW_USEDEFAULT,
                            640, 480, nullptr, nullptr, windowClass.hInstance, this);
        if (!window)
            throw Problem("a window can't be made");
    }

    HWND editor() const { return GetWindow(window, GW_CHILD); }
    /// The dialog of the stage on show, null if none.
    HWND stageDialog() const { return FindWindowExW(editor(), nullptr, dialogClass, nullptr); }

    void fitToEditor() const {
        RECT area{};
        GetWindowRect(editor(), &area);
        OffsetRect(&area, -area.left, -area.top);
        AdjustWindowRect(&area, windowStyle, FALSE);
        SetWindowPos(window, nullptr, 0, 0, area.right - area.left, area.bottom - area.top,
                     SWP_NOMOVE | SWP_NOZORDER);
    }

    void planSteps() {
        if (options.shownStage)
            steps.push_back([this] { showStage(options.shownStage - 1); });
        for (const int id : options.presses)
            steps.push_back([this, id] { press(id); });
        if (!options.picture.empty())
            steps.push_back([this] { takePicture(); });
    }

    void showStage(int row) const {
        LVITEMW item{};
        item.stateMask = item.state = LVIS_FOCUSED | LVIS_SELECTED;
        const HWND list = GetDlgItem(editor(), stageListControl);
        if (row >= SendMessageW(list, LVM_GETITEMCOUNT, 0, 0))
            throw Problem("there is no stage " + std::to_string(row + 1));
        LVITEMW none{};
        none.stateMask = LVIS_SELECTED;
        SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1),
                     reinterpret_cast<LPARAM>(&none));
        SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                     reinterpret_cast<LPARAM>(&item));
    }

    void press(int id) const {
        HWND control = stageDialog() ? GetDlgItem(stageDialog(), id) : nullptr;
        if (!control)
            control = GetDlgItem(editor(), id);
        if (!control)
            throw Problem("there is no button " + std::to_string(id));
        // A chooser or a menu that it opens runs on meanwhile.
        PostMessageW(control, BM_CLICK, 0, 0);
    }

    void takePicture() const {
        const HWND popup = GetLastActivePopup(window);
        const bool hasPopup = popup && popup != window;
        writePicture(hasPopup ? popup : window, options.picture);
        if (hasPopup)
            PostMessageW(popup, WM_COMMAND, IDCANCEL, 0);
        PostMessageW(window, WM_CLOSE, 0, 0);
    }

    void runStep() {
        if (nextStep < steps.size())
            steps[nextStep++]();
        else
            KillTimer(window, stepTimer);
    }

    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam) {
        switch (message) {
        case WM_TIMER:
            if (wParam == idleTimer)
                effect.answerIdleRequest();
            else
                runStep();
            return 0;
        case WM_CLOSE:
            effect.closeEditor();
            DestroyWindow(window);
            return 0;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
        }
    }

    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE) {
            const auto *created = reinterpret_cast<const CREATESTRUCTW *>(lParam);
            auto *self = static_cast<EditorWindow *>(created->lpCreateParams);
            self->window = window;
            SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
        }
        auto *self = reinterpret_cast<EditorWindow *>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (!self)
            return DefWindowProcW(window, message, wParam, lParam);
        try {
            return self->handle(message, wParam, lParam);
        } catch (...) {
            // The loop ends, and whoever runs it hears of it.
            self->failure = std::current_exception();
            PostMessageW(window, WM_CLOSE, 0, 0);
            return 0;
        }
    }

    EditorEffect &effect;
    const WindowOptions &options;
    HWND window = nullptr;
    std::vector<std::function<void()>> steps;
    size_t nextStep = 0;
    std::exception_ptr failure;
};

} // namespace

void runEditorWindow(EditorEffect &effect, const WindowOptions &options) {
    EditorWindow(effect, options).run();
}

} // namespace tonvale::workbench
