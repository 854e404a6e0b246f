#include "editor/fader.h"
#include "editor/row_law.h"
#include "editor/windows/editor_window.h"
#include "workbench/services/fader_law.h"

#include <gtest/gtest.h>

#include <cmath>
#include <oleacc.h>

namespace tonvale::test {

namespace {

/// A lying and a standing fader of the editor, the one of Pan and that of Wet, at half its way.
class FaderWindow : public testing::TestWithParam<int32_t> {
  protected:
    FaderWindow() {
        setFaderPosition(fader, 500);
        SetFocus(fader);
    }

    int position() const { return faderPosition(fader); }
    POINT placeAt(int at) const {
        constexpr int knob = 11; // pixels, which the way is short of
        const RECT place = placeOf(fader);
        const auto along = [at](LONG length) { return knob / 2 + (length - knob) * at / 1000; };
        const POINT middle = middleOf(fader);
        return row == paramPan ? POINT{place.left + along(place.right - place.left), middle.y}
                               : POINT{middle.x, place.bottom - along(place.bottom - place.top)};
    }

    const int32_t row = GetParam();
    EditorWindow editor;
    const HWND fader = editor.control(paramRow(row)->controlId);
    const HWND edit = editor.control(paramRow(row)->editId);
};

std::wstring spoken(HWND window, HRESULT (STDMETHODCALLTYPE IAccessible::*part)(VARIANT, BSTR *)) {
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

} // namespace

TEST_P(FaderWindow, DraggedFinelyWithControlChangesItsValueAndEndsWithTheButton) {
    drag(placeAt(500), placeAt(700));
    EXPECT_NEAR(position(), 700, 10);
    holdKey(VK_CONTROL);
    moveMouse(placeAt(900));
    letGoKey(VK_CONTROL);
    EXPECT_NEAR(position(), 720, 10);
    const double value = editor.plugin.params[row];
    EXPECT_EQ(value, ParameterLaw().valueOf(row, position()));
    char text[paramTextSize];
    paramDisplayText(row, value, text);
    EXPECT_EQ(editor.text(paramRow(row)->editId), text);
    moveMouse(placeAt(1400));
    EXPECT_EQ(position(), 1000);
    releaseMouse();
    auto notes = editor.takeNotes();
    ASSERT_FALSE(notes.empty());
    EXPECT_EQ(notes.back(), ended(row));
    notes.pop_back();
    EXPECT_EQ(notes.back(), changed(row, editor.plugin.params[row]));
    for (const auto &[opcode, index, unused] : notes)
        EXPECT_TRUE(opcode == audioMasterAutomate && index == row);
    click(placeAt(250)); // beside the knob
    EXPECT_NEAR(position(), 250, 10);
}

TEST_P(FaderWindow, TakesKeysWheelAndDoubleClick) {
    struct Step {
        WORD key;
        int expected;
        bool isFine = false;
    };
    constexpr Step steps[] = {{VK_RIGHT, 510},      {VK_UP, 511, true}, {VK_LEFT, 501},
                              {VK_DOWN, 500, true}, {VK_PRIOR, 600},    {VK_NEXT, 500},
                              {VK_END, 1000},       {VK_RIGHT, 1000},   {VK_HOME, 0}};
    for (const Step &step : steps) {
        if (step.isFine)
            holdKey(VK_CONTROL);
        pressKey(step.key);
        letGoKey(VK_CONTROL);
        EXPECT_EQ(position(), step.expected) << step.key;
    }
    editor.takeNotes();
    turnWheel(placeAt(0), 120);
    EXPECT_EQ(position(), 120);
    EXPECT_EQ(editor.takeNotes().size(), 1u);
    EXPECT_TRUE(serveUntil([&] { return editor.takeNotes() == std::vector{ended(row)}; }));

    click(placeAt(800));
    click(placeAt(800));
    EXPECT_EQ(position(), row == paramPan ? 500 : std::lround(workbench::decibelsToPosition(0.0)));
    for (const auto &[beyond, end] : {std::pair(5000, 1000), std::pair(-5, 0)}) {
        setFaderPosition(fader, beyond);
        EXPECT_EQ(position(), end);
    }
}

TEST_P(FaderWindow, IsSpokenWithLabelAndValue) {
    EXPECT_EQ(spoken(fader, &IAccessible::get_accName), row == paramPan ? L"Pan" : L"Wet (dB)");
    setFaderValueText(fader, "Mitte ½");
    EXPECT_EQ(spoken(fader, &IAccessible::get_accValue), L"Mitte \u00bd");
    setFaderValueText(fader, nullptr);
    EXPECT_EQ(spoken(fader, &IAccessible::get_accValue), L"50 %");
    EXPECT_TRUE(hostFunctions.SetWindowAccessibilityString(edit, "音量", 0));
    EXPECT_EQ(spoken(edit, &IAccessible::get_accName), L"\u97f3\u91cf");
    hostFunctions.SetWindowAccessibilityString(edit, nullptr, 0);
    EXPECT_NE(spoken(edit, &IAccessible::get_accName), L"\u97f3\u91cf");
}

INSTANTIATE_TEST_SUITE_P(Both, FaderWindow, testing::Values(paramPan, paramWet));

} // namespace tonvale::test
