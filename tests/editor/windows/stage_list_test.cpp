#include "editor/windows/editor_window.h"

#include "editor/resources/resource.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <commctrl.h>

namespace tonvale::test {

namespace {

const Lines fourStages{"NORM 0.100000", "NORM 0.200000", "NORM 0.300000", "NORM 0.400000"};

/// Whether the stage at this place in the chain is on show, in the frame, as the one seen child of
/// its class.
bool showsStage(EditorWindow &editor, int32_t index) {
    const HWND shown = FindWindowExW(editor.dialog(), nullptr, L"#32770", nullptr);
    const RECT frame = placeOf(editor.control(MAIN_STAGE_FRAME)), place = placeOf(shown);
    return editor.plugin.editor.currentStage == editor.plugin.chain.get(index) &&
           shown == editor.stage() && IsWindowVisible(shown) && EqualRect(&frame, &place) &&
           !FindWindowExW(editor.dialog(), shown, L"#32770", nullptr);
}

/// A user who picks the n-th item of the menu, counted from 0.
void addFromMenu(EditorWindow &editor, int item) {
    later(200, [item] {
        for (int i = 0; i <= item; ++i)
            pressKey(VK_DOWN);
        pressKey(VK_RETURN);
    });
    click(editor.control(MAIN_ADD));
}

/// What a user does while the host of this source reads a file, and serves messages meanwhile.
std::function<void()> duringRead;

class ServingSource final : public MediaSource {
  public:
    void destroy(int) override { delete this; }
    int GetNumChannels() override { return 1; }
    double GetSampleRate() override { return 44100.0; }
    double GetLength() override { return 0.1; }
    void GetSamples(MediaReadBlock *block) override {
        if (const auto action = std::exchange(duringRead, {}))
            action();
        std::fill_n(block->samples, block->length, 0.5);
        block->samplesOut = block->length;
    }
};

} // namespace

TEST(Add, PutsThePickedStageLastAndOnShow) {
    EditorWindow editor({"NORM 0.5"});
    addFromMenu(editor, 1);
    ASSERT_EQ(editor.chain().size(), 2u);
    EXPECT_EQ(editor.chain()[1].substr(0, 7), "ECHOGEN");
    EXPECT_EQ(editor.listRows(), (Lines{"Normalize", "Echo Generator"}));
    EXPECT_EQ(editor.selectedRows(), std::vector{1});
    EXPECT_TRUE(showsStage(editor, 1));
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    EXPECT_GT(editor.plugin.impulseLength, 0);

    later(200, [] { pressKey(VK_ESCAPE); });
    click(editor.control(MAIN_ADD));
    EXPECT_EQ(editor.chain().size(), 2u);
    EXPECT_TRUE(editor.takeNotes().empty());
}

TEST(StageOnShow, IsOneWhereTheHostMovesTheFocusWhileADialogIsMadeOrGoes) {
    static HWND list;
    static bool isMade;
    EditorWindow editor(fourStages);
    const auto before =
        std::exchange(hostFunctions.SetWindowAccessibilityString, [](HWND, const char *text, int) {
            if (const HWND moved =
                    isMade == (text != nullptr) ? std::exchange(list, nullptr) : nullptr)
                ListView_SetItemState(moved, 2, LVIS_FOCUSED, LVIS_FOCUSED);
            return true;
        });
    for (const int row : {0, 1}) {
        isMade = row == 1;
        list = editor.control(MAIN_STAGE_LIST);
        click(editor.nameOf(row));
        EXPECT_EQ(list, nullptr);
        EXPECT_TRUE(showsStage(editor, 2));
    }
    hostFunctions.SetWindowAccessibilityString = before;
}

TEST(Remove, TakesAllSelectedStagesAndSelectsNoOther) {
    EditorWindow editor(fourStages);
    EXPECT_TRUE(showsStage(editor, 3));
    click(editor.nameOf(0));
    // The key comes after the move, on which the system looks up what keys are really down.
    moveMouse(editor.nameOf(2));
    holdKey(VK_CONTROL);
    pressMouse();
    releaseMouse();
    letGoKey(VK_CONTROL);
    EXPECT_EQ(editor.selectedRows(), (std::vector{0, 2}));
    EXPECT_TRUE(showsStage(editor, 2));
    click(editor.control(MAIN_REMOVE));
    EXPECT_EQ(editor.chain(), (Lines{fourStages[1], fourStages[3]}));
    EXPECT_EQ(editor.listRows(), (Lines{"Normalize", "Normalize"}));
    EXPECT_TRUE(editor.selectedRows().empty());
    EXPECT_EQ(editor.stage(), nullptr);
    EXPECT_EQ(editor.plugin.editor.currentStage, nullptr);
    click(editor.control(MAIN_REMOVE));
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged}) << "for the first time alone";
}

TEST(Drag, MovesAStageStepByStepAndPastTheEndToTheLastPlace) {
    EditorWindow editor({fourStages[0], "!" + fourStages[1], fourStages[2], fourStages[3]});
    const POINT second = editor.nameOf(1), last = editor.nameOf(3);
    drag(second, {second.x + 3, last.y + 200});
    EXPECT_EQ(editor.chain(),
              (Lines{fourStages[0], fourStages[2], fourStages[3], "!" + fourStages[1]}));
    EXPECT_EQ(editor.takeNotes(), (std::vector{stateChanged, stateChanged}));
    moveMouse({second.x + 3, editor.nameOf(0).y - 100});
    EXPECT_EQ(editor.chain()[0], "!" + fourStages[1]);
    moveMouse(editor.nameOf(1));
    releaseMouse();
    EXPECT_EQ(GetCapture(), nullptr);
    moveMouse(last);
    EXPECT_EQ(editor.chain(),
              (Lines{fourStages[0], "!" + fourStages[1], fourStages[2], fourStages[3]}));
    const HWND list = editor.control(MAIN_STAGE_LIST);
    EXPECT_EQ(editor.selectedRows(), std::vector{1});
    for (const auto &[row, image] : {std::pair(1, 2u), std::pair(2, 1u)})
        EXPECT_EQ(ListView_GetItemState(list, row, LVIS_STATEIMAGEMASK),
                  INDEXTOSTATEIMAGEMASK(image));
    EXPECT_TRUE(showsStage(editor, 1));
}

TEST(Bypass, FlipsByAClickOnTheIconAndTwiceByADoubleClick) {
    EditorWindow editor({"ECHOGEN", "NORM 0.5"});
    ASSERT_GT(editor.plugin.impulseLength, 0);
    click(editor.iconOf(0));
    EXPECT_EQ(editor.chain()[0][0], '!');
    EXPECT_EQ(editor.plugin.impulseLength, 0);
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    EXPECT_TRUE(showsStage(editor, 0));
    serve(static_cast<int>(GetDoubleClickTime()) + 100);
    click(editor.iconOf(0));
    click(editor.iconOf(0));
    EXPECT_EQ(editor.takeNotes(), (std::vector{stateChanged, stateChanged}));
    EXPECT_EQ(editor.chain()[0][0], '!');
    serve(static_cast<int>(GetDoubleClickTime()) + 100);
    click(editor.nameOf(0));
    EXPECT_TRUE(editor.takeNotes().empty()) << "a name is no icon";
}

TEST(Drop, AddsOrReusesAFileStageAndTakesMediaAlone) {
    const std::string greek = "memory:Χώρος 1.wav", japanese = "memory:部屋の響き.wav";
    for (const std::string &path : {greek, japanese})
        putMedia(path.substr(7), 48000, {roomNoise(2000, 1)});
    const std::string inGreek = "FILELDR \"" + greek + "\" 60",
                      inJapanese = "FILELDR \"" + japanese + "\" 60";

    EditorWindow editor;
    editor.drop({"C:\\notes.txt", "C:\\" + std::string(2000, 'a'), "C:\\folder.wav\\plain", greek});
    EXPECT_EQ(editor.chain(), Lines{inGreek});
    EXPECT_TRUE(showsStage(editor, 0));
    EXPECT_GT(editor.plugin.impulseLength, 1000);

    editor.drop({japanese});
    EXPECT_EQ(editor.chain(), Lines{inJapanese}) << "a single file goes where one is";
    holdKey(VK_CONTROL);
    editor.drop({greek});
    letGoKey(VK_CONTROL);
    EXPECT_EQ(editor.chain(), (Lines{inJapanese, inGreek}));
    editor.drop({greek, japanese});
    EXPECT_EQ(editor.chain(), (Lines{inJapanese, inGreek, inGreek, inJapanese}));
    EXPECT_EQ(editor.selectedRows(), std::vector{3});

    click(editor.nameOf(0));
    editor.drop({greek});
    EXPECT_EQ(editor.chain()[0], inGreek);
    EXPECT_EQ(editor.selectedRows(), std::vector{3});
    EXPECT_TRUE(showsStage(editor, 3));
    EXPECT_TRUE(editor.takeNotes().empty()) << "a drop tells the host nothing";
}

TEST(Chain, ChangedByTheHostShowsWhileAStageIsBeingEdited) {
    EditorWindow editor(fourStages);
    SetFocus(editor.inStage(NORMALIZE_PEAK_EDIT));
    const HWND before = editor.stage();
    // The stage goes at once, its dialog with it, and what is under way to it does no harm.
    PostMessageW(before, WM_COMMAND, MAKEWPARAM(NORMALIZE_PEAK_EDIT, EN_CHANGE), 0);
    editor.driver.setChain({"REVERSE", "NORM 0.7"});
    EXPECT_FALSE(IsWindow(before));
    EXPECT_EQ(GetFocus(), editor.control(MAIN_STAGE_LIST));
    serve();
    EXPECT_EQ(editor.listRows(), (Lines{"Reverse", "Normalize"}));
    EXPECT_EQ(editor.stage(), nullptr);
    pressKey(VK_DOWN);
    EXPECT_NE(editor.stage(), nullptr);
}

TEST(Chain, ChangedByTheUserInsideARunComesOutAsItIsAtTheEnd) {
    EditorWindow editor;
    const auto before =
        std::exchange(hostFunctions.PCM_Source_CreateFromFile,
                      [](const char *) -> MediaSource * { return new ServingSource; });
    editor.driver.setChain({"FILELDR \"a.wav\" 60", "NORM 0.25", "FILELDR \"b.wav\" 60"});
    serve();
    EXPECT_GT(editor.plugin.impulseLength, 0);
    duringRead = [&] {
        click(editor.nameOf(0));
        click(editor.control(MAIN_REMOVE));
        typeInto(editor.control(MAIN_WET_EDIT), "0");
        click(editor.iconOf(1));
        serve(500);
    };
    click(editor.iconOf(0));
    EXPECT_EQ(editor.chain(), (Lines{"NORM 0.250000", "!FILELDR \"b.wav\" 60"}));
    EXPECT_EQ(editor.listRows(), (Lines{"Normalize", "File"}));
    EXPECT_EQ(editor.plugin.impulseLength, 0);
    hostFunctions.PCM_Source_CreateFromFile = before;
}

} // namespace tonvale::test
