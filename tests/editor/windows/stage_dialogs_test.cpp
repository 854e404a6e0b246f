#include "chain/impulse_generator_edit.h"
#include "editor/fader.h"
#include "editor/resources/resource.h"
#include "editor/stage_law.h"
#include "editor/windows/editor_window.h"
#include "host/host_functions.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace tonvale::test {

namespace {

constexpr double defaultRate = 44100.0;

/// An editor that opens with the last of these stages on show.
class ChainEditor : public EditorWindow {
  public:
    explicit ChainEditor(const std::vector<std::string> &lines)
        : EditorWindow(0, false) {
        driver.setChain(lines);
        open();
        takeNotes();
    }

    HWND inStage(int id) const { return GetDlgItem(stage(), id); }
    std::string stageText(int id) const { return controlText(stage(), id); }
    template <class Stage>
    Stage &shown() {
        ImpulseGenerator *current = plugin.editor.currentStage;
        return dynamic_cast<Stage &>(*current);
    }
    double peak() {
        double most = 0.0;
        for (int32_t i = 0; i < plugin.impulse.getChannelLength(0); ++i)
            most = std::max(most, std::abs(plugin.impulse.getChannel(0)[i]));
        return most;
    }
    /// Whether the host was told of a new state since this or takeNotes() was last asked.
    bool hostHeard() {
        const std::vector<HostNote> notes = takeNotes();
        return std::find(notes.begin(), notes.end(), stateChanged) != notes.end();
    }
    bool waitForHost() {
        bool heard = false;
        return serveUntil([&] { return heard |= hostHeard(); });
    }
};

RECT placeOf(HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    return place;
}

POINT pointAlong(HWND fader, double fraction) {
    const RECT place = placeOf(fader);
    return {place.left + std::lround(fraction * (place.right - place.left)), middleOf(fader).y};
}

class RowDialogs : public testing::TestWithParam<const char *> {};

} // namespace

TEST_P(RowDialogs, TakeWhatIsTypedDraggedAndTurned) {
    ChainEditor editor({GetParam()});
    const RECT frame = placeOf(editor.control(MAIN_STAGE_FRAME)), place = placeOf(editor.stage());
    EXPECT_TRUE(EqualRect(&frame, &place));
    auto &stage = editor.shown<RowStage>();
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
        for (const HWND expected : {fader, edit}) {
            if (!expected)
                continue;
            tabbed = GetNextDlgTabItem(editor.stage(), tabbed, FALSE);
            EXPECT_EQ(tabbed, expected);
        }

        typeInto(edit, "7.5");
        const bool isDecibels = row.minValue == decibelRow;
        EXPECT_NEAR(stage.setting(r), isDecibels ? std::pow(10.0, 7.5 / 20.0) : 7.5 / scale, 1e-9);
        if (!fader)
            continue;
        const int typed = std::clamp(law.positionOf(r, stage.setting(r)), 0, 1000);
        EXPECT_EQ(faderPosition(fader), typed);

        EXPECT_TRUE(editor.waitForHost()) << "of what was typed";
        moveMouse(pointAlong(fader, 0.25));
        pressMouse();
        moveMouse(pointAlong(fader, 0.5));
        EXPECT_NEAR(faderPosition(fader), 500, 30);
        EXPECT_DOUBLE_EQ(stage.setting(r), law.valueOf(r, faderPosition(fader)));
        EXPECT_TRUE(shows(r));
        EXPECT_FALSE(editor.hostHeard());
        releaseMouse();
        EXPECT_TRUE(editor.waitForHost()) << "once the fader was let go";
        const int before = faderPosition(fader);
        turnWheel(middleOf(edit), 120);
        EXPECT_EQ(faderPosition(fader), before + 3);
        EXPECT_DOUBLE_EQ(stage.setting(r), law.valueOf(r, before + 3));
        EXPECT_TRUE(shows(r));
    }
    EXPECT_TRUE(editor.waitForHost()) << "once the wheel rests";
    EXPECT_EQ(editor.stageText(STAGE_INPUT_STATUS), stage.inputStatus);
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), stage.outputStatus);
}

INSTANTIATE_TEST_SUITE_P(Stages, RowDialogs,
                         testing::Values("ECHOGEN", "BASICEDIT", "NORM", "REVERSE", "FILT",
                                         "VERBGEN"),
                         [](const auto &key) { return std::string(key.param); });

TEST(EditDialog, ForecastsTheLengthAndHearsTheGainWhenItsFaderIsLetGo) {
    ChainEditor editor({"ECHOGEN 0 500 10 1 0.5 0 0", "BASICEDIT"});
    const double before = editor.peak();
    const HWND gain = editor.inStage(EDIT_GAIN_FADER);
    moveMouse(pointAlong(gain, 0.7));
    pressMouse();
    moveMouse(pointAlong(gain, 0.3));
    serve(400);
    EXPECT_EQ(editor.peak(), before);
    EXPECT_TRUE(editor.stageText(STAGE_OUTPUT_STATUS).starts_with("Output: "));
    releaseMouse();
    EXPECT_TRUE(serveUntil([&] { return editor.peak() < before; }));
    EXPECT_NEAR(editor.peak(), before * editor.shown<ImpulseGenerator_Edit>().gain, 1e-9);

    const HWND stretch = editor.inStage(EDIT_STRETCH_FADER);
    moveMouse(pointAlong(stretch, 0.5));
    pressMouse();
    moveMouse(pointAlong(stretch, 0.8));
    char forecast[100];
    std::snprintf(forecast, sizeof forecast, "new length will be %.2fs",
                  editor.shown<ImpulseGenerator_Edit>().forecastSeconds());
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), forecast);
    EXPECT_TRUE(serveUntil([&] { return editor.stageText(STAGE_OUTPUT_STATUS) != forecast; }))
        << "a pause lets the response follow";
    EXPECT_TRUE(editor.stageText(STAGE_OUTPUT_STATUS).starts_with("Output: "));
    releaseMouse();
}

TEST(FilterDialog, FollowsTheRateButNotTheHandsOfTheUser) {
    ChainEditor editor({"FILT"});
    typeInto(editor.inStage(FILTER_LOWPASS_EDIT), "6000.3");
    EXPECT_TRUE(editor.waitForHost());
    EXPECT_EQ(editor.stageText(FILTER_LOWPASS_EDIT), "6000.3");
    const std::string stored = editor.chain()[0];
    editor.driver.dispatch(effSetSampleRate, 0, 0, nullptr, 48000.0f);
    EXPECT_TRUE(serveUntil([&] { return editor.stageText(FILTER_LOWPASS_EDIT) == "6531"; }));
    EXPECT_EQ(editor.stageText(FILTER_HIGHPASS_EDIT), "0");
    EXPECT_EQ(editor.chain()[0], stored);
}

TEST(ChannelToolDialog, StoresWhatIsChosen) {
    ChainEditor editor({"CHANTOOL"});
    constexpr struct {
        int id;
        int entries;
        const char *last;
        const char *shown;
    } boxes[] = {{CHANNEL_SOURCE, 128, "128", "1"},
                 {CHANNEL_COUNT, 128, "128", "1"},
                 {CHANNEL_ACTION, 5, "Convolve", "Swap"},
                 {CHANNEL_DESTINATION, 128, "128", "2"},
                 {CHANNEL_TOTAL, 129, "128", "Automatic"}};
    for (const auto &box : boxes) {
        const HWND comboBox = editor.inStage(box.id);
        EXPECT_EQ(SendMessageW(comboBox, CB_GETCOUNT, 0, 0), box.entries);
        EXPECT_EQ(comboItemText(comboBox, box.entries - 1), box.last);
        EXPECT_EQ(windowText(comboBox), box.shown);
        SetFocus(comboBox);
        editor.takeNotes();
        pressKey(VK_DOWN);
        serve();
        EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    }
    EXPECT_EQ(editor.chain(), std::vector<std::string>{"CHANTOOL 1 2 1 2 1"});
    pressKey(VK_UP);
    EXPECT_EQ(editor.stageText(CHANNEL_TOTAL), "Automatic");
    EXPECT_EQ(editor.chain(), std::vector<std::string>{"CHANTOOL 1 2 1 2 0"});
    EXPECT_EQ(editor.stageText(STAGE_OUTPUT_STATUS), "Output: 0.00s 44kHz 4ch");
}

} // namespace tonvale::test
