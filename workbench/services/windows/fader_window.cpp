#include "workbench/services/windows/fader_window.h"

#include "text/wide_text.h"
#include "workbench/services/fader_law.h"
#include "workbench/services/window_services.h"
#include "workbench/services/windows/accessible_object.h"
#include "workbench/services/windows/fader_shape.h"

#include <windows.h>
#include <windowsx.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <memory>
#include <oleacc.h>
#include <optional>

namespace tonvale::workbench {

namespace {

constexpr int arrowStep = 10;
constexpr int pageStep = 100;
constexpr int fineShare = 10; ///< of what moves it without Control
constexpr UINT_PTR wheelTimer = 1;
constexpr UINT wheelRest = 300; ///< ms after which a turn of the wheel has ended

bool isControlDown() {
    return GetKeyState(VK_CONTROL) < 0;
}

int finely(int steps) {
    const int fine = steps / fineShare;
    return fine != 0 || steps == 0 ? fine : (steps > 0 ? 1 : -1);
}

class Fader {
  public:
    Fader(HWND ownWindow, bool vertical)
        : window(ownWindow)
        , isVertical(vertical) {
        spokenText.role = ROLE_SYSTEM_SLIDER;
        speakPosition();
    }

    const SpokenText &spoken() const { return spokenText; }
    int position() const { return static_cast<int>(std::lround(shownPosition())); }

    void setPosition(int next) {
        exact = std::clamp(next, 0, faderEnd);
        show();
    }
    void setDefault(int next) {
        defaultPosition = std::min(next, faderEnd);
        InvalidateRect(window, nullptr, FALSE);
    }
    void setText(WPARAM kind, const char *text) {
        auto &place = kind == faderValue ? spokenText.value : spokenText.name;
        place = text ? wideText(text) : std::wstring();
        if (kind == faderValue && !text)
            speakPosition();
        NotifyWinEvent(kind == faderValue ? EVENT_OBJECT_VALUECHANGE : EVENT_OBJECT_NAMECHANGE,
                       window, OBJID_CLIENT, CHILDID_SELF);
    }

    void press(POINT mouse) {
        SetFocus(window);
        SetCapture(window);
        const FaderShape shape = presentShape();
        const RECT knob = shape.knob(shownPosition());
        lastAlong = shape.along(mouse);
        if (!PtInRect(&knob, mouse))
            move(shape.positionAt(*lastAlong));
    }
    void drag(POINT mouse) {
        if (!lastAlong)
            return;
        const FaderShape shape = presentShape();
        const int along = shape.along(mouse);
        const double perPixel = static_cast<double>(faderEnd) / shape.travel();
        const double way = (along - *lastAlong) * perPixel / (isControlDown() ? fineShare : 1);
        lastAlong = along;
        // Beyond an end the mouse goes on, so that the knob stays under it on its way back.
        move(exact + way);
    }
    void release() {
        lastAlong.reset();
        if (GetCapture() == window)
            ReleaseCapture();
        endGesture();
    }
    void goToDefault() {
        SetFocus(window);
        if (GetWindowLongW(window, 0) != 1)
            return;
        move(knownDefault());
        endGesture();
    }

    void turn(int delta) {
        step(isControlDown() ? finely(delta) : delta);
        SetTimer(window, wheelTimer, wheelRest, nullptr);
    }
    /// False for a key that has no meaning here.
    bool pressKey(WPARAM key) {
        const int arrow = isControlDown() ? finely(arrowStep) : arrowStep;
        switch (key) {
        case VK_LEFT:
        case VK_DOWN:
            step(-arrow);
            return true;
        case VK_RIGHT:
        case VK_UP:
            step(arrow);
            return true;
        case VK_PRIOR:
            step(pageStep);
            return true;
        case VK_NEXT:
            step(-pageStep);
            return true;
        case VK_HOME:
            move(0);
            return true;
        case VK_END:
            move(faderEnd);
            return true;
        default:
            return false;
        }
    }
    /// A key is up, the wheel rests, or the focus goes. The mouse ends what it began by itself.
    void rest() {
        if (!lastAlong)
            endGesture();
    }

    /// Onto `target`, by way of a bitmap, so that nothing flickers.
    void paint(HDC target) {
        RECT client{};
        GetClientRect(window, &client);
        const HDC context = CreateCompatibleDC(target);
        const HBITMAP bitmap = CreateCompatibleBitmap(target, client.right, client.bottom);
        const HGDIOBJ before = SelectObject(context, bitmap);
        const FaderLook look{shownPosition(), knownDefault(), GetFocus() == window,
                             IsWindowEnabled(window) != FALSE};
        paintFader(context, presentShape(), look, client, background(context));
        BitBlt(target, 0, 0, client.right, client.bottom, context, 0, 0, SRCCOPY);
        SelectObject(context, before);
        DeleteObject(bitmap);
        DeleteDC(context);
    }

  private:
    double shownPosition() const { return std::clamp<double>(exact, 0.0, faderEnd); }
    double knownDefault() const {
        return defaultPosition < 0 ? decibelsToPosition(0.0) : defaultPosition;
    }

    FaderShape presentShape() const {
        RECT client{};
        GetClientRect(window, &client);
        return {{client.right, client.bottom}, isVertical, displayScale(window)};
    }
    HBRUSH background(HDC context) const {
        const LRESULT brush =
            SendMessageW(GetParent(window), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                         reinterpret_cast<LPARAM>(window));
        return brush ? reinterpret_cast<HBRUSH>(brush) : GetSysColorBrush(COLOR_BTNFACE);
    }

    void endGesture() {
        KillTimer(window, wheelTimer);
        if (!isMoving)
            return;
        isMoving = false;
        exact = shownPosition();
        // Some parents know the end by the whole of wParam.
        tellParent(SB_ENDSCROLL);
    }
    void step(int steps) { move(position() + steps); }
    /// What the user does. The parent hears of it where the position is another one.
    void move(double next) {
        const int before = position();
        exact = lastAlong ? next : std::clamp<double>(next, 0.0, faderEnd);
        if (position() == before)
            return;
        show();
        isMoving = true;
        tellParent(MAKEWPARAM(SB_THUMBTRACK, position()));
    }
    void show() {
        speakPosition();
        InvalidateRect(window, nullptr, FALSE);
        NotifyWinEvent(EVENT_OBJECT_VALUECHANGE, window, OBJID_CLIENT, CHILDID_SELF);
    }
    /// Until the parent tells its own text for it.
    void speakPosition() {
        spokenText.value = std::to_wstring(position() * 100 / faderEnd) + L" %";
    }
    void tellParent(WPARAM what) const {
        SendMessageW(GetParent(window), isVertical ? WM_VSCROLL : WM_HSCROLL, what,
                     reinterpret_cast<LPARAM>(window));
    }

    HWND window;
    bool isVertical;
    double exact = 0.0; ///< beyond the ends while the mouse is
    int defaultPosition = 0;
    bool isMoving = false;          ///< the parent has heard of a move, and not of its end
    std::optional<int> lastAlong{}; ///< of the mouse that holds it
    SpokenText spokenText;
};

/// A parent that hears of a move may end the fader, so whoever handles a message holds it too.
using FaderPointer = std::shared_ptr<Fader>;

FaderPointer faderOf(HWND window) {
    const auto *fader = reinterpret_cast<FaderPointer *>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return fader ? *fader : nullptr;
}

const SpokenText *spokenOfFader(HWND window) {
    const FaderPointer fader = faderOf(window);
    return fader ? &fader->spoken() : nullptr;
}

void paintWindow(HWND window, Fader &fader) {
    PAINTSTRUCT painting;
    fader.paint(BeginPaint(window, &painting));
    EndPaint(window, &painting);
}

LRESULT handle(Fader &fader, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const POINT mouse{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
    switch (message) {
    case faderGetPosition:
        return fader.position();
    case faderSetDefault:
        fader.setDefault(static_cast<int>(lParam));
        return 0;
    case faderSetPosition:
        fader.setPosition(static_cast<int>(lParam));
        return 0;
    case faderSetText:
        fader.setText(wParam, reinterpret_cast<const char *>(lParam));
        return 0;
    case WM_LBUTTONDOWN:
        fader.press(mouse);
        return 0;
    case WM_LBUTTONDBLCLK:
        fader.goToDefault();
        return 0;
    case WM_MOUSEMOVE:
        fader.drag(mouse);
        return 0;
    case WM_LBUTTONUP:
    case WM_CAPTURECHANGED:
        fader.release();
        return 0;
    case WM_MOUSEWHEEL:
        fader.turn(GET_WHEEL_DELTA_WPARAM(wParam));
        return 0;
    case WM_KEYDOWN:
        if (fader.pressKey(wParam))
            return 0;
        break;
    case WM_KEYUP:
    case WM_TIMER:
        fader.rest();
        return 0;
    case WM_KILLFOCUS:
        InvalidateRect(window, nullptr, FALSE);
        fader.rest();
        return 0;
    case WM_SETFOCUS:
    case WM_SIZE:
    case WM_ENABLE:
        InvalidateRect(window, nullptr, FALSE);
        return 0;
    case WM_GETDLGCODE:
        return DLGC_WANTARROWS;
    case WM_GETOBJECT:
        if (const LRESULT answer = answerAccessibleObject(window, wParam, lParam, spokenOfFader))
            return answer;
        break;
    case WM_ERASEBKGND:
        return 1;
    case WM_PAINT:
        paintWindow(window, fader);
        return 0;
    case WM_PRINTCLIENT:
        fader.paint(reinterpret_cast<HDC>(wParam));
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

template <bool isVertical>
LRESULT CALLBACK faderProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    try {
        if (message == WM_NCCREATE)
            SetWindowLongPtrW(window, GWLP_USERDATA,
                              reinterpret_cast<LONG_PTR>(
                                  new FaderPointer(std::make_shared<Fader>(window, isVertical))));
        if (const FaderPointer fader = faderOf(window)) {
            if (message == WM_NCDESTROY)
                delete reinterpret_cast<FaderPointer *>(
                    SetWindowLongPtrW(window, GWLP_USERDATA, 0));
            else
                return handle(*fader, window, message, wParam, lParam);
        }
    } catch (const std::exception &) {
        // Without memory a fader can't be made, or keeps a text that it had.
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void registerClass(const wchar_t *name, WNDPROC procedure) {
    WNDCLASSW windowClass{};
    windowClass.style = CS_GLOBALCLASS | CS_DBLCLKS | CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = procedure;
    windowClass.cbWndExtra = 8;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    windowClass.lpszClassName = name;
    RegisterClassW(&windowClass);
}

} // namespace

void registerFaderClasses() {
    static const bool isDone = [] {
        registerClass(L"QUORINhfader", faderProcedure<false>);
        registerClass(L"QUORINvfader", faderProcedure<true>);
        return true;
    }();
    static_cast<void>(isDone);
}

void prepareWindows() {
    registerFaderClasses();
}

} // namespace tonvale::workbench
