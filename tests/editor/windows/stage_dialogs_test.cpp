#include "chain/impulse_generator_edit.h"
#include "editor/fader.h"
#include "editor/resources/resource.h"
#include "editor/response_picture.h"
#include "editor/stage_law.h"
#include "editor/windows/editor_window.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tonvale::test {

namespace {

constexpr double defaultRate = 44100.0;

template <class Stage>
Stage &shown(EditorWindow &editor) {
    ImpulseGenerator *current = editor.plugin.editor.currentStage;
    return dynamic_cast<Stage &>(*current);
}

/// Whether the host was told of a new state since the notes were last taken.
bool hostHeard(const EditorWindow &editor) {
    const std::vector<HostNote> notes = editor.takeNotes();
    return std::find(notes.begin(), notes.end(), stateChanged) != notes.end();
}

bool waitForHost(const EditorWindow &editor) {
    return serveUntil([&] { return hostHeard(editor); });
}

POINT pointAlong(HWND fader, double fraction) {
    const RECT place = placeOf(fader);
    return {place.left + std::lround(fraction * (place.right - place.left)), middleOf(fader).y};
}

class RowDialogs : public testing::TestWithParam<const char *> {};

} // namespace

TEST_P(RowDialogs, TakeWhatIsTypedDraggedAndTurned) {
    EditorWindow editor({GetParam()});
    auto &stage = shown<RowStage>(editor);
    const std::span rows(stage.getRows(), static_cast<size_t>(stage.getRowCount()));
    const double scale = std::string("FILT") == GetParam() ? defaultRate / 2.0 : 1.0;
    const StageLaw law(rows, scale);
    const auto shows = [&](int32_t row) {
        char text[rowTextSize];
        law.textOf(row, stage.setting(row), text);
        return text == editor.stageText(rows[static_cast<size_t>(row)].editId);
    };
    HWND tabbed = nullptr;
    for (int32_t r = 0; r < std::ssize(rows); ++r) {
        const StageRow &row = rows[static_cast<size_t>(r)];
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(shows(r));
        const HWND edit = editor.inStage(row.editId);
        const HWND fader = row.controlId ? editor.inStage(row.controlId) : nullptr;
        for (const HWND next : {fader, edit}) {
            if (!next)
                continue;
            tabbed = GetNextDlgTabItem(editor.stage(), tabbed, FALSE);
            EXPECT_EQ(tabbed, next);
        }

        typeInto(edit, "7.5");
        const bool isDecibels = row.minValue == decibelRow;
        EXPECT_NEAR(stage.setting(r), isDecibels ? std::pow(10.0, 7.5 / 20.0) : 7.5 / scale, 1e-9);
        if (!fader)
            continue;
        const int typed = std::clamp(law.positionOf(r, stage.setting(r)), 0, 1000);
        EXPECT_EQ(faderPosition(fader), typed);

        EXPECT_TRUE(waitForHost(editor)) << "of what was typed";
        drag(pointAlong(fader, 0.25), pointAlong(fader, 0.5));
        EXPECT_NEAR(faderPosition(fader), 500, 30);
        EXPECT_DOUBLE_EQ(stage.setting(r), law.valueOf(r, faderPosition(fader)));
        EXPECT_TRUE(shows(r));
        EXPECT_FALSE(hostHeard(editor));
        releaseMouse();
        EXPECT_TRUE(waitForHost(editor)) << "once the fader was let go";
        const int before = faderPosition(fader);
        turnWheel(middleOf(edit), 120);
        EXPECT_EQ(faderPosition(fader), before + 3);
        EXPECT_DOUBLE_EQ(stage.setting(r), law.valueOf(r, before + 3));
        EXPECT_TRUE(shows(r));
    }
    EXPECT_TRUE(waitForHost(editor)) << "once the wheel rests";
    EXPECT_EQ(editor.stageText(STAGE_INPUT_STATUS), stage.inputStatus);
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), stage.outputStatus);
}

INSTANTIATE_TEST_SUITE_P(Stages, RowDialogs,
                         testing::Values("ECHOGEN", "BASICEDIT", "NORM", "REVERSE", "FILT",
                                         "VERBGEN"),
                         [](const auto &key) { return std::string(key.param); });

TEST(EditDialog, ForecastsTheLengthAndHearsTheGainWhenItsFaderIsLetGo) {
    EditorWindow editor({"ECHOGEN 0 500 10 1 0.5 0 0", "BASICEDIT"});
    const auto &edit = shown<ImpulseGenerator_Edit>(editor);
    const double before = responsePeak(editor.plugin.impulse);
    const HWND gain = editor.inStage(EDIT_GAIN_FADER), stretch = editor.inStage(EDIT_STRETCH_FADER);
    const std::string lengthBefore = editor.stageText(STAGE_OUTPUT_STATUS);
    drag(pointAlong(gain, 0.7), pointAlong(gain, 0.3));
    serve(400);
    EXPECT_EQ(responsePeak(editor.plugin.impulse), before);
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), lengthBefore);
    releaseMouse();
    EXPECT_TRUE(serveUntil([&] { return responsePeak(editor.plugin.impulse) < before; }));
    EXPECT_NEAR(responsePeak(editor.plugin.impulse), before * edit.gain, 1e-9);

    drag(pointAlong(stretch, 0.5), pointAlong(stretch, 0.8));
    char forecast[100];
    std::snprintf(forecast, sizeof forecast, "new length will be %.2fs", edit.forecastSeconds());
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), forecast);
    EXPECT_TRUE(serveUntil([&] {
        return editor.stageText(STAGE_OUTPUT_STATUS).starts_with("Output: ");
    })) << "a pause lets the response follow";
    releaseMouse();
}

TEST(FilterDialog, FollowsTheRateButNotTheHandsOfTheUser) {
    EditorWindow editor({"FILT"});
    typeInto(editor.inStage(FILTER_LOWPASS_EDIT), "6000.3");
    EXPECT_TRUE(waitForHost(editor));
    EXPECT_EQ(editor.stageText(FILTER_LOWPASS_EDIT), "6000.3");
    const Lines stored = editor.chain();
    editor.driver.dispatch(effSetSampleRate, 0, 0, nullptr, 48000.0f);
    EXPECT_TRUE(serveUntil([&] { return editor.stageText(FILTER_LOWPASS_EDIT) == "6531"; }));
    EXPECT_EQ(editor.stageText(FILTER_HIGHPASS_EDIT), "0");
    EXPECT_EQ(editor.chain(), stored);
}

TEST(ChannelToolDialog, StoresWhatIsChosen) {
    EditorWindow editor({"CHANTOOL"});
    const std::tuple<int, int, const char *, const char *> boxes[] = {
        {CHANNEL_SOURCE, 128, "128", "1"},
        {CHANNEL_COUNT, 128, "128", "1"},
        {CHANNEL_ACTION, 5, "Convolve", "Swap"},
        {CHANNEL_DESTINATION, 128, "128", "2"},
        {CHANNEL_TOTAL, 129, "128", "Automatic"}};
    for (const auto &[id, entries, last, present] : boxes) {
        const HWND comboBox = editor.inStage(id);
        EXPECT_EQ(SendMessageW(comboBox, CB_GETCOUNT, 0, 0), entries);
        EXPECT_EQ(comboItemText(comboBox, entries - 1), last);
        EXPECT_EQ(windowText(comboBox), present);
        SetFocus(comboBox);
        pressKey(VK_DOWN);
        serve();
        EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    }
    EXPECT_EQ(editor.chain(), Lines{"CHANTOOL 1 2 1 2 1"});
    pressKey(VK_UP);
    EXPECT_EQ(editor.stageText(CHANNEL_TOTAL), "Automatic");
    EXPECT_EQ(editor.chain(), Lines{"CHANTOOL 1 2 1 2 0"});
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), "Output: 0.00s 44kHz 4ch");
}

} // namespace tonvale::test
