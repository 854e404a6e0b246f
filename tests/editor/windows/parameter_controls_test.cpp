#include "editor/windows/editor_window.h"

#include "chain/decibels.h"
#include "editor/fader.h"
#include "editor/resources/resource.h"
#include "editor/row_law.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <map>

using namespace tonvale;
using namespace tonvale::test;

namespace {

struct Typed {
    int32_t row;
    int edit;
    int fader;
    const char *text;
    double value;
};

const Typed typedValues[] = {
    {0, MAIN_WET_EDIT, MAIN_WET_FADER, "-6.5", decibelsToFactor(-6.5)},
    {0, MAIN_WET_EDIT, MAIN_WET_FADER, "12", decibelsToFactor(12)},
    {0, MAIN_WET_EDIT, MAIN_WET_FADER, "9999", 0x1.fffffep127},
    {1, MAIN_DRY_EDIT, MAIN_DRY_FADER, "-INF", 0.0},
    {1, MAIN_DRY_EDIT, MAIN_DRY_FADER, "loud", 1.0},
    {1, MAIN_DRY_EDIT, MAIN_DRY_FADER, "-i", 0.0},
    {1, MAIN_DRY_EDIT, MAIN_DRY_FADER, "nan", 1.0},
    {2, MAIN_PREVERB_EDIT, MAIN_PREVERB_FADER, "120", 120.0 / 3000},
    {2, MAIN_PREVERB_EDIT, MAIN_PREVERB_FADER, "1e9", 1.0},
    {4, MAIN_WIDTH_EDIT, MAIN_WIDTH_FADER, "0.25", 0.625},
    {5, MAIN_PAN_EDIT, MAIN_PAN_FADER, "-7", 0.0},
    {5, MAIN_PAN_EDIT, MAIN_PAN_FADER, "inf", 1.0},
};

bool isChecked(HWND box) {
    return SendMessageW(box, BM_GETCHECK, 0, 0) == BST_CHECKED;
}

int maxFftItem(const EditorWindow &editor) {
    return static_cast<int>(SendMessageW(editor.control(MAIN_MAX_FFT), CB_GETCURSEL, 0, 0));
}

/// Notes with what repeats in a row once, and the values of changes aside.
std::vector<std::pair<int32_t, int32_t>> course(const std::vector<HostNote> &notes) {
    std::vector<std::pair<int32_t, int32_t>> steps;
    for (const HostNote &note : notes) {
        if (steps.empty() || steps.back() != std::pair(note.opcode, note.index))
            steps.emplace_back(note.opcode, note.index);
    }
    return steps;
}

} // namespace

TEST(TypedValue, IsStoredAsTypedMovesTheFaderAndIsOneGestureOfTheHost) {
    EditorWindow editor;
    for (const auto &[row, edit, fader, text, value] : typedValues) {
        SCOPED_TRACE(text);
        editor.takeNotes();
        typeInto(editor.control(edit), text);
        EXPECT_NEAR(editor.plugin.params[row], value, 1e-12);
        EXPECT_EQ(editor.text(edit), text);
        EXPECT_EQ(faderPosition(editor.control(fader)),
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

TEST(Fader, DraggedChangesItsValueAndTextAndEndsWithTheButton) {
    EditorWindow editor;
    editor.takeNotes();
    const HWND fader = editor.control(MAIN_PAN_FADER);
    POINT place = middleOf(fader);
    moveMouse(place);
    pressMouse();
    place.x += 20;
    moveMouse(place);
    const double pan = editor.plugin.params[paramPan];
    EXPECT_GT(pan, 0.55);
    EXPECT_NEAR(pan, faderPosition(fader) / 1000.0, 1e-12);
    releaseMouse();
    char text[paramTextSize];
    paramDisplayText(paramPan, pan, text);
    EXPECT_EQ(editor.text(MAIN_PAN_EDIT), text);
    const auto notes = editor.takeNotes();
    EXPECT_EQ(course(notes), (std::vector<std::pair<int32_t, int32_t>>{
                                 {audioMasterAutomate, paramPan}, {audioMasterEndEdit, paramPan}}));
    EXPECT_EQ(notes[notes.size() - 2], changed(paramPan, pan));
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

    editor.takeNotes();
    serve(400);
    editor.takeNotes();
    turnWheel(middleOf(editor.control(MAIN_DISPLAY)), 120);
    turnWheel(middleOf(editor.control(MAIN_STAGE_LIST)), 120);
    EXPECT_TRUE(editor.takeNotes().empty());
}

TEST(CheckBox, FlipsItsModeAndRebuilds) {
    EditorWindow editor;
    editor.takeNotes();
    for (const auto &[box, row] : {std::pair(MAIN_ZERO_LATENCY, paramZeroLatency),
                                   std::pair(MAIN_LOW_LATENCY, paramLowLatency)}) {
        EXPECT_TRUE(isChecked(editor.control(box)));
        editor.plugin.editor.displayDirty = 0;
        click(editor.control(box));
        EXPECT_EQ(editor.plugin.params[row], 0.0);
        EXPECT_EQ(editor.plugin.editor.displayDirty, 1) << "nothing was rebuilt";
    }
    EXPECT_EQ(
        editor.takeNotes(),
        (std::vector{began(paramZeroLatency), changed(paramZeroLatency, 0), ended(paramZeroLatency),
                     began(paramLowLatency), changed(paramLowLatency, 0)}));
    // A click on the dialog itself ends what is open.
    POINT corner{3, 3};
    ClientToScreen(editor.dialog(), &corner);
    click(corner);
    EXPECT_EQ(editor.takeNotes(), std::vector{ended(paramLowLatency)});
}

TEST(MaxFft, ChosenByKeyRebuildsAndTellsTheHostOfTheState) {
    EditorWindow editor;
    const HWND box = editor.control(MAIN_MAX_FFT);
    EXPECT_EQ(comboItemText(box, 0), "32");
    EXPECT_EQ(comboItemText(box, 9), "16384");
    EXPECT_EQ(maxFftItem(editor), 9);
    SetFocus(box);
    serve();
    editor.takeNotes();
    pressKey(VK_UP);
    EXPECT_EQ(editor.plugin.params[paramMaxFft], plainToParam(paramMaxFft, 8192));
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    // A size that isn't among the items changes none.
    editor.driver.set(paramMaxFft, 0.3f);
    serve(300);
    EXPECT_EQ(maxFftItem(editor), 8);
}

TEST(CopyToAll, GivesTheEngineOptionsToEveryOtherInstanceThatDiffers) {
    EditorWindow closed(0, false), one(0), two(1);
    one.driver.set(paramZeroLatency, 0.2f);
    one.driver.set(paramMaxFft, static_cast<float>(plainToParam(paramMaxFft, 1024)));
    one.driver.set(paramWet, 0.125f);
    closed.driver.set(paramZeroLatency, 0.1f);
    closed.driver.set(paramMaxFft, static_cast<float>(plainToParam(paramMaxFft, 1024)));
    serve(300);
    closed.plugin.editor.displayDirty = 0;
    closed.plugin.editor.pendingControlMask = 0;
    two.plugin.editor.displayDirty = 0;
    click(one.control(MAIN_COPY_TO_ALL));
    EXPECT_EQ(closed.plugin.editor.displayDirty, 0) << "rebuilt for equal options";
    EXPECT_EQ(closed.plugin.params[paramZeroLatency], static_cast<double>(0.1f));
    EXPECT_EQ(two.plugin.params[paramZeroLatency], 0.0);
    EXPECT_EQ(two.plugin.params[paramLowLatency], 1.0);
    EXPECT_EQ(two.plugin.params[paramMaxFft], one.plugin.params[paramMaxFft]);
    EXPECT_NE(two.plugin.params[paramWet], one.plugin.params[paramWet]);
    serve(300);
    EXPECT_FALSE(isChecked(two.control(MAIN_ZERO_LATENCY)));
    EXPECT_EQ(maxFftItem(two), 5);
}

TEST(Controls, FollowTheHostWithinATick) {
    EditorWindow editor;
    editor.driver.set(paramWet, 1.0f);
    editor.driver.set(paramPreverb, 0.5f);
    editor.driver.set(paramLowLatency, 0.0f);
    editor.takeNotes();
    serve(300);
    EXPECT_EQ(editor.text(MAIN_WET_EDIT), "+0.0");
    EXPECT_EQ(editor.text(MAIN_PREVERB_EDIT), "1500");
    EXPECT_EQ(faderPosition(editor.control(MAIN_PREVERB_FADER)),
              ParameterLaw().positionOf(paramPreverb, 0.5));
    EXPECT_FALSE(isChecked(editor.control(MAIN_LOW_LATENCY)));
    EXPECT_TRUE(editor.takeNotes().empty()) << "what the program writes is no edit";
}

TEST(Names, AreSpokenWhileTheEditorIsOpen) {
    static std::map<HWND, std::string> spoken;
    EditorWindow editor(0, false);
    const auto before = std::exchange(hostFunctions.SetWindowAccessibilityString,
                                      [](HWND window, const char *text, int) {
                                          spoken[window] = text ? text : "";
                                          return true;
                                      });
    using Names = std::map<int, std::string>;
    const Names ofEditor{{MAIN_WET_EDIT, "Wet (dB)"},
                         {MAIN_PREVERB_EDIT, "Pre-verb (ms)"},
                         {MAIN_PAN_EDIT, "Pan"},
                         {MAIN_STAGE_LIST, "Impulse response loaders/modifiers"},
                         {MAIN_ADD, "Add impulse response loader/modifier"},
                         {MAIN_REMOVE, "Remove selected impulse response loader/modifier"},
                         {MAIN_ZERO_LATENCY, "Zero latency mode"},
                         {MAIN_LOW_LATENCY, "Low Latency (CPU offload) mode"}};
    const std::map<std::string, Names> ofStages{
        {"CHANTOOL",
         {{CHANNEL_SOURCE, "Source channel"},
          {CHANNEL_COUNT, "Channel count"},
          {CHANNEL_ACTION, "Channel action"},
          {CHANNEL_DESTINATION, "Destination channel"},
          {CHANNEL_TOTAL, "Total channel count"}}},
        {"FILELDR",
         {{FILE_LIST, "File list"},
          {FILE_GAIN, "Gain adjustment"},
          {FILE_OFFSET, "Destination channel offset"}}},
        {"FILT", {{FILTER_LOWPASS_EDIT, "Low Pass"}, {FILTER_HIGHPASS_EDIT, "High Pass"}}},
        {"NORM", {{NORMALIZE_PEAK_EDIT, "Peak volume (dB)"}}}};
    for (const auto &[key, ofStage] : ofStages) {
        editor.driver.setChain({key});
        editor.open();
        for (const auto &[id, name] : ofEditor)
            EXPECT_EQ(spoken[editor.control(id)], name);
        for (const auto &[id, name] : ofStage)
            EXPECT_EQ(spoken[GetDlgItem(editor.stage(), id)], name);
        editor.close();
        for (const auto &[window, name] : spoken)
            EXPECT_EQ(name, "");
    }
    hostFunctions.SetWindowAccessibilityString = before;
}
