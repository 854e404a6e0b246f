#include "editor/windows/editor_window.h"

#include "chain/decibels.h"
#include "editor/fader.h"
#include "editor/resources/resource.h"
#include "editor/row_law.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace tonvale::test {

namespace {

std::map<HWND, std::string> spokenNames;

} // namespace

TEST(TypedValue, IsStoredAsTypedMovesTheFaderAndIsOneGestureOfTheHost) {
    const std::tuple<int32_t, const char *, double> typedValues[] = {
        {paramWet, "-6.5", decibelsToFactor(-6.5)},
        {paramWet, "12", decibelsToFactor(12)},
        {paramWet, "9999", 0x1.fffffep127},
        {paramDry, "-INF", 0.0},
        {paramDry, "loud", 1.0},
        {paramDry, "-i", 0.0},
        {paramDry, "nan", 1.0},
        {paramPreverb, "120", 120.0 / 3000},
        {paramPreverb, "1e9", 1.0},
        {paramWidth, "0.25", 0.625},
        {paramPan, "-7", 0.0},
        {paramPan, "inf", 1.0},
    };
    EditorWindow editor;
    for (const auto &[row, text, value] : typedValues) {
        SCOPED_TRACE(text);
        typeInto(editor.control(paramRow(row)->editId), text);
        EXPECT_NEAR(editor.plugin.params[row], value, 1e-12);
        EXPECT_EQ(editor.text(paramRow(row)->editId), text);
        EXPECT_EQ(faderPosition(editor.control(paramRow(row)->controlId)),
                  std::clamp(ParameterLaw().positionOf(row, value), 0, 1000));
        const auto notes = editor.takeNotes();
        ASSERT_FALSE(notes.empty());
        EXPECT_EQ(notes.front(), began(row));
        EXPECT_EQ(notes.back(), changed(row, value));

        serve(300);
        EXPECT_TRUE(editor.takeNotes().empty()) << "the gesture lasts as long as the focus";
        pressKey(VK_TAB);
        serve(300);
        EXPECT_EQ(editor.takeNotes(), std::vector{ended(row)});
    }
}

TEST(Wheel, OverAnEditBoxMovesItsFaderInSmallSteps) {
    EditorWindow editor;
    const HWND fader = editor.control(MAIN_WIDTH_FADER);
    setFaderPosition(fader, 500);
    const POINT box = middleOf(editor.control(MAIN_WIDTH_EDIT));
    int expected = 500;
    // Each in steps of 32, but for a turn too small for one.
    for (const auto &[delta, step] : std::map<int, int>{{120, 3}, {-240, -7}, {1, 1}, {-31, -1}}) {
        turnWheel(box, delta);
        expected += step;
        EXPECT_EQ(faderPosition(fader), expected) << delta;
        EXPECT_NEAR(editor.plugin.params[paramWidth], expected / 1000.0, 1e-12);
    }
    // The older message has the delta in its low word.
    const UINT older = RegisterWindowMessageW(L"MSWHEEL_ROLLMSG");
    SendMessageW(editor.dialog(), older, 120, MAKELPARAM(box.x, box.y));
    EXPECT_EQ(faderPosition(fader), expected + 3);

    serve(400);
    editor.takeNotes();
    turnWheel(middleOf(editor.control(MAIN_DISPLAY)), 120);
    turnWheel(middleOf(editor.control(MAIN_STAGE_LIST)), 120);
    EXPECT_TRUE(editor.takeNotes().empty());
}

TEST(EngineOptions, RebuildWhenChosenAndAreCopiedToEveryOtherInstanceThatDiffers) {
    EditorWindow same({}, 0, false), two({}, 1), one;
    const HWND sizes = one.control(MAIN_MAX_FFT);
    EXPECT_EQ(comboItemText(sizes, 0), "32");
    EXPECT_EQ(comboItemText(sizes, 9), "16384");
    EXPECT_EQ(itemOn(sizes), 9);
    for (const auto &[box, row] : {std::pair(MAIN_ZERO_LATENCY, paramZeroLatency),
                                   std::pair(MAIN_LOW_LATENCY, paramLowLatency)}) {
        EXPECT_TRUE(isChecked(one.control(box)));
        one.plugin.editor.displayDirty = 0;
        click(one.control(box));
        EXPECT_EQ(one.plugin.params[row], 0.0);
        EXPECT_EQ(one.plugin.editor.displayDirty, 1) << "nothing was rebuilt";
        same.driver.set(row, 0.1f);
    }
    // A click on the dialog itself ends what is open.
    const RECT dialog = placeOf(one.dialog());
    click({dialog.left + 3, dialog.top + 3});
    SetFocus(sizes);
    pressKey(VK_UP);
    EXPECT_EQ(one.takeNotes(),
              (std::vector{began(paramZeroLatency), changed(paramZeroLatency, 0),
                           ended(paramZeroLatency), began(paramLowLatency),
                           changed(paramLowLatency, 0), ended(paramLowLatency), stateChanged}));
    const double size = plainToParam(paramMaxFft, 8192);
    EXPECT_EQ(one.plugin.params[paramMaxFft], size);

    one.driver.set(paramWet, 0.125f);
    same.plugin.params[paramMaxFft] = size;
    same.plugin.editor.displayDirty = 0;
    click(one.control(MAIN_COPY_TO_ALL));
    EXPECT_EQ(same.plugin.editor.displayDirty, 0) << "rebuilt for equal options";
    EXPECT_EQ(same.plugin.params[paramZeroLatency], static_cast<double>(0.1f));
    EXPECT_EQ(two.plugin.params[paramMaxFft], size);
    EXPECT_NE(two.plugin.params[paramWet], one.plugin.params[paramWet]);
    serve(300);
    EXPECT_FALSE(isChecked(two.control(MAIN_ZERO_LATENCY)));
    EXPECT_FALSE(isChecked(two.control(MAIN_LOW_LATENCY)));
    EXPECT_EQ(itemOn(two.control(MAIN_MAX_FFT)), 8);
}

TEST(Controls, FollowTheHostWithinATick) {
    EditorWindow editor;
    editor.driver.set(paramWet, 1.0f);
    editor.driver.set(paramPreverb, 0.5f);
    editor.driver.set(paramLowLatency, 0.0f);
    editor.driver.set(paramMaxFft, 0.3f);
    editor.takeNotes();
    serve(300);
    EXPECT_EQ(editor.text(MAIN_WET_EDIT), "+0.0");
    EXPECT_EQ(editor.text(MAIN_PREVERB_EDIT), "1500");
    EXPECT_EQ(faderPosition(editor.control(MAIN_PREVERB_FADER)),
              ParameterLaw().positionOf(paramPreverb, 0.5));
    EXPECT_FALSE(isChecked(editor.control(MAIN_LOW_LATENCY)));
    EXPECT_EQ(itemOn(editor.control(MAIN_MAX_FFT)), 9) << "a size that is no item changes none";
    EXPECT_TRUE(editor.takeNotes().empty()) << "what the program writes is no edit";
}

TEST(Names, AreSpokenWhileTheEditorIsOpen) {
    EditorWindow editor({}, 0, false);
    const auto before = std::exchange(hostFunctions.SetWindowAccessibilityString,
                                      [](HWND window, const char *text, int) {
                                          spokenNames[window] = text ? text : "";
                                          return true;
                                      });
    const std::tuple<const char *, int, const char *> cases[] = {
        {"NORM", NORMALIZE_PEAK_EDIT, "Peak volume (dB)"},
        {"FILT", FILTER_HIGHPASS_EDIT, "High Pass"},
        {"CHANTOOL", CHANNEL_ACTION, "Channel action"},
        {"FILELDR", FILE_GAIN, "Gain adjustment"},
    };
    for (const auto &[stage, id, name] : cases) {
        editor.driver.setChain({stage});
        editor.open();
        EXPECT_EQ(spokenNames[editor.inStage(id)], name);
        EXPECT_EQ(spokenNames[editor.control(MAIN_WET_EDIT)], "Wet (dB)");
        EXPECT_EQ(spokenNames[editor.control(MAIN_PAN_EDIT)], "Pan");
        EXPECT_EQ(spokenNames[editor.control(MAIN_ADD)], "Add impulse response loader/modifier");
        editor.close();
        for (const auto &[window, text] : spokenNames)
            EXPECT_EQ(text, "");
    }
    hostFunctions.SetWindowAccessibilityString = before;
}

} // namespace tonvale::test
