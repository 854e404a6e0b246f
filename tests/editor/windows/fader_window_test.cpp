#include "editor/windows/editor_window.h"
#include "host/host_functions.h"
#include "workbench/services/fader_law.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <oleacc.h>

namespace tonvale::test {

namespace {

/// Scroll codes and positions that a parent heard of.
using Moves = std::vector<std::pair<int, int>>;
Moves heard;

LRESULT CALLBACK listen(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_HSCROLL || message == WM_VSCROLL)
        heard.emplace_back(LOWORD(wParam), HIWORD(wParam));
    return DefWindowProcW(window, message, wParam, lParam);
}

class FaderWindow : public testing::TestWithParam<bool> {
  protected:
    FaderWindow() {
        loadTestHost();
        parent = CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 400, 400, nullptr,
                                 nullptr, nullptr, nullptr);
        SetWindowLongPtrW(parent, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(listen));
        const bool isVertical = GetParam();
        fader = CreateWindowExW(0, isVertical ? L"QUORINvfader" : L"QUORINhfader", L"",
                                WS_CHILD | WS_VISIBLE | WS_TABSTOP, 100, 100, isVertical ? 21 : 211,
                                isVertical ? 211 : 21, parent, nullptr, nullptr, nullptr);
        SetWindowLongW(fader, 0, 1);
        SetForegroundWindow(parent);
        serve();
        heard.clear();
    }
    ~FaderWindow() override { DestroyWindow(parent); }

    int position() const { return static_cast<int>(SendMessageW(fader, 1024, 0, 0)); }
    void setPosition(int next) const { SendMessageW(fader, 1029, 0, next); }
    /// On the screen; the knob's middle travels 200 pixels.
    POINT placeOf(int at) const {
        const int along = 5 + at / 5;
        return GetParam() ? POINT{110, 310 - along} : POINT{100 + along, 110};
    }
    static std::wstring spoken(HWND window,
                               HRESULT (STDMETHODCALLTYPE IAccessible::*part)(VARIANT, BSTR *)) {
        IAccessible *object = nullptr;
        if (FAILED(AccessibleObjectFromWindow(window, static_cast<DWORD>(OBJID_CLIENT),
                                              __uuidof(IAccessible),
                                              reinterpret_cast<void **>(&object))))
            return L"none";
        VARIANT self{};
        self.vt = VT_I4;
        BSTR text = nullptr;
        (object->*part)(self, &text);
        std::wstring out = text ? text : L"";
        SysFreeString(text);
        object->Release();
        return out;
    }

    HWND parent;
    HWND fader;
};

} // namespace

TEST_P(FaderWindow, FollowsTheMouseFinelyWithControlAndTellsItsParent) {
    setPosition(500);
    moveMouse(placeOf(500));
    pressMouse();
    EXPECT_TRUE(heard.empty());
    moveMouse(placeOf(700));
    EXPECT_NEAR(position(), 700, 5);
    holdKey(VK_CONTROL);
    moveMouse(placeOf(900));
    letGoKey(VK_CONTROL);
    EXPECT_NEAR(position(), 720, 5);
    moveMouse(placeOf(1400));
    EXPECT_EQ(position(), 1000);
    EXPECT_EQ(heard.back().first, SB_THUMBTRACK);
    releaseMouse();
    EXPECT_EQ(heard.back(), (Moves::value_type{SB_ENDSCROLL, 0}));
    heard.pop_back();
    EXPECT_EQ(heard.back().first, SB_THUMBTRACK);
    click(placeOf(250)); // beside the knob
    EXPECT_NEAR(position(), 250, 5);
}

TEST_P(FaderWindow, TakesKeysWheelAndDoubleClick) {
    struct Step {
        WORD key;
        bool isFine;
        int expected;
    };
    constexpr Step steps[] = {
        {VK_RIGHT, false, 510}, {VK_UP, true, 511},      {VK_LEFT, false, 501},
        {VK_DOWN, true, 500},   {VK_PRIOR, false, 600},  {VK_NEXT, false, 500},
        {VK_END, false, 1000},  {VK_RIGHT, false, 1000}, {VK_HOME, false, 0}};
    setPosition(500);
    SetFocus(fader);
    for (const Step &step : steps) {
        if (step.isFine)
            holdKey(VK_CONTROL);
        pressKey(step.key);
        if (step.isFine)
            letGoKey(VK_CONTROL);
        EXPECT_EQ(position(), step.expected) << step.key;
    }
    heard.clear();
    turnWheel(placeOf(0), 120);
    SendMessageW(fader, WM_MOUSEWHEEL, MAKEWPARAM(0, 3), 0); // as a parent hands it on
    EXPECT_EQ(heard, (Moves{{SB_THUMBTRACK, 120}, {SB_THUMBTRACK, 123}}));
    EXPECT_TRUE(serveUntil([] { return heard.back().first == SB_ENDSCROLL; }));

    for (const int standard : {321, -1}) {
        SendMessageW(fader, 1028, 0, standard);
        click(placeOf(800));
        pressMouse();
        releaseMouse();
        EXPECT_EQ(position(),
                  standard < 0 ? std::lround(workbench::decibelsToPosition(0.0)) : standard);
        serve(static_cast<int>(GetDoubleClickTime()) + 50);
    }
    setPosition(5000);
    EXPECT_EQ(position(), 1000);
    setPosition(-5);
    EXPECT_EQ(position(), 0);
}

TEST_P(FaderWindow, IsSpokenWithLabelAndValue) {
    setPosition(250);
    EXPECT_EQ(spoken(fader, &IAccessible::get_accValue), L"25 %");
    SendMessageW(fader, 11023, 11, reinterpret_cast<LPARAM>("Höhe (ms)"));
    SendMessageW(fader, 11023, 2, reinterpret_cast<LPARAM>("-6.0"));
    EXPECT_EQ(spoken(fader, &IAccessible::get_accName), L"H\u00f6he (ms)");
    EXPECT_EQ(spoken(fader, &IAccessible::get_accValue), L"-6.0");

    const HWND edit = CreateWindowExW(0, L"EDIT", L"7", WS_CHILD, 0, 0, 50, 20, parent, nullptr,
                                      nullptr, nullptr);
    EXPECT_TRUE(hostFunctions.SetWindowAccessibilityString(edit, "音量", 0));
    EXPECT_EQ(spoken(edit, &IAccessible::get_accName), L"\u97f3\u91cf");
    hostFunctions.SetWindowAccessibilityString(edit, nullptr, 0);
    EXPECT_EQ(spoken(edit, &IAccessible::get_accName), L"");
}

INSTANTIATE_TEST_SUITE_P(Both, FaderWindow, testing::Bool());

} // namespace tonvale::test
