#include "editor/windows/editor_window.h"

#include "chain/decibels.h"
#include "chain/window_messages.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "editor/response_picture.h"
#include "test_host/heap_in_use.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace tonvale::test {

namespace {

/// Audio goes on for as long as what this answers lives.
std::jthread runAudio(EffectDriver &driver) {
    return std::jthread([&driver](const std::stop_token &stop) {
        const Channels block{noise(256, 1), noise(256, 2)};
        while (!stop.stop_requested())
            driver.process(block, 256);
    });
}

int childrenOf(HWND window) {
    int count = 0;
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        ++count;
    return count;
}

/// Above the numbers of all drawing objects that are there: fills the gaps between them.
int drawingObjects() {
    std::vector<HBRUSH> brushes(500);
    int highest = 0;
    for (HBRUSH &brush : brushes) {
        brush = CreateSolidBrush(RGB(1, 2, 3));
        highest = std::max<int>(highest, LOWORD(brush));
    }
    for (const HBRUSH brush : brushes)
        DeleteObject(brush);
    return highest;
}

int windowNumber() {
    const HWND window = CreateWindowExW(0, L"Static", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                        nullptr, nullptr);
    DestroyWindow(window);
    return LOWORD(window);
}

} // namespace

TEST(Editor, IsTheOnlyChildOfItsWindowAndGoneWhenClosed) {
    EditorWindow editor;
    EXPECT_EQ(childrenOf(editor.host()), 1);
    const HWND dialog = editor.dialog();
    EXPECT_EQ(GetParent(dialog), editor.host());
    EXPECT_TRUE(IsWindowVisible(dialog));
    RECT size{0, 0, 384, 279}, place;
    MapDialogRect(dialog, &size);
    GetClientRect(dialog, &place);
    EXPECT_TRUE(EqualRect(&size, &place));

    editor.open();
    EXPECT_FALSE(IsWindow(dialog)) << "opened again, it takes the place of the first";
    EXPECT_EQ(childrenOf(editor.host()), 1);
    PostMessageW(editor.dialog(), commitMessage, 0, 0);
    editor.close();
    EXPECT_EQ(childrenOf(editor.host()), 0);
    EXPECT_EQ(editor.dialog(), nullptr);
    serve();
    EXPECT_EQ(editor.driver.dispatch(effEditOpen), 0) << "there is no window to open in";
}

TEST(Editor, OpensWholeOrNotAtAllWhereMemoryIsShort) {
    EditorWindow editor({"NORM 0.5"}, 0, false);
    forEachRefusedRequest(300, [&](const Refusal &refusal) {
        intptr_t opened = 0;
        {
            const AllocationLimit limit(refusal);
            opened = editor.driver.dispatch(effEditOpen, 0, 0, editor.host());
        }
        EXPECT_EQ(childrenOf(editor.host()), opened);
        EXPECT_EQ(editor.dialog() != nullptr, opened == 1);
        EXPECT_TRUE(opened == 1 || (!editor.stage() && !editor.plugin.editor.currentStage));
        editor.close();
    });
    EXPECT_TRUE(editor.open());
    EXPECT_EQ(editor.stageText(NORMALIZE_PEAK_EDIT), "-6.0");
}

TEST(Editor, LeavesTheMessageQueueEmptyWhileNothingHappens) {
    EditorWindow editor({"ECHOGEN", "NORM 0.5"});
    serve(500);
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < 700) {
        MSG message;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            EXPECT_TRUE(message.message == WM_TIMER && message.hwnd == editor.dialog())
                << std::hex << message.message;
            DispatchMessageW(&message);
        }
    }
}

TEST(StageEdit, IsHeardAfterAPauseAndToldToTheHostAfterAnother) {
    EditorWindow editor({"ECHOGEN", "NORM 0.5"});
    typeInto(editor.inStage(NORMALIZE_PEAK_EDIT), "-12");
    const auto isHeard = [&] {
        return std::abs(responsePeak(editor.plugin.impulse) - 0.251189) < 1e-5;
    };
    EXPECT_FALSE(isHeard());
    EXPECT_TRUE(serveUntil(isHeard));
    // Not while the mouse holds a control.
    SetCapture(editor.control(MAIN_WET_FADER));
    serve(800);
    EXPECT_TRUE(editor.takeNotes().empty());
    ReleaseCapture();
    serve(600);
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});

    // What is still due when the editor closes is done then, however it was asked for.
    for (const bool immediately : {false, true}) {
        setWindowText(editor.control(MAIN_WET_EDIT), "-3");
        editor.takeNotes();
        editor.plugin.editor.displayDirty = 0;
        scheduleRebuild(editor.stage(), immediately);
        editor.close();
        EXPECT_EQ(editor.plugin.editor.displayDirty, 1);
        EXPECT_EQ(editor.takeNotes(), (std::vector{ended(paramWet), stateChanged}));
        editor.open();
    }
}

TEST(Editor, ClosedInTheMiddleOfADragLetsGoOfAll) {
    EditorWindow editor({"NORM 0.1", "NORM 0.2", "NORM 0.3"});
    drag(editor.nameOf(0), editor.nameOf(1));
    ASSERT_EQ(GetCapture(), editor.dialog());
    const Lines chain = editor.chain();
    editor.close();
    EXPECT_EQ(GetCapture(), nullptr);
    editor.open();
    moveMouse(editor.nameOf(2));
    EXPECT_EQ(editor.chain(), chain);
    releaseMouse();
}

TEST(Editor, ClosedWhileItsMenuIsOpenAddsNothing) {
    EditorWindow editor;
    auto other = std::make_unique<EditorWindow>(Lines{}, 1);
    const std::pair<HWND, std::function<void()>> ends[] = {
        {editor.control(MAIN_ADD), [&] { editor.close(); }},
        {other->control(MAIN_ADD), [&] { other.reset(); }}};
    for (const auto &[add, end] : ends) {
        later(200, [&end] {
            end();
            pressKey(VK_DOWN);
            pressKey(VK_RETURN);
        });
        click(add);
        serve(300);
    }
    EXPECT_EQ(editor.dialog(), nullptr);
    EXPECT_TRUE(editor.chain().empty());
}

TEST(Editor, ClosedByAHostThatIsToldOfAStepTellsNothingBehindItsEnd) {
    const double gain = decibelsToFactor(-3);
    const std::pair<int32_t, std::vector<HostNote>> cases[] = {
        {audioMasterBeginEdit, {began(paramDry), ended(paramDry)}},
        {audioMasterAutomate, {began(paramDry), changed(paramDry, gain), ended(paramDry)}},
        {audioMasterEndEdit, {ended(paramWet)}}};
    for (const auto &[step, expected] : cases) {
        for (const bool closesInstance : {false, true}) {
            auto editor = std::make_unique<EditorWindow>();
            if (step == audioMasterEndEdit)
                setWindowText(editor->control(MAIN_WET_EDIT), "-6");
            editor->takeNotes();
            const HWND dialog = editor->dialog();
            whenTold(step, [&] { closesInstance ? editor.reset() : editor->close(); });
            setWindowText(editor->control(MAIN_DRY_EDIT), "-3");
            serve();
            EXPECT_FALSE(IsWindow(dialog));
            if (editor) {
                EXPECT_EQ(editor->takeNotes(), expected);
                EXPECT_EQ(editor->plugin.editor.touchedParam, -1);
            }
        }
    }
    // An editor that is to take the place of one whose end the host is told of.
    auto editor = std::make_unique<EditorWindow>();
    setWindowText(editor->control(MAIN_WET_EDIT), "-6");
    whenTold(audioMasterEndEdit, [&] { editor.reset(); });
    EXPECT_FALSE(editor->open());
}

TEST(Editor, OpenedAgainAndAgainLeavesNothingBehind) {
    EditorWindow editor({"NORM 0.5"}, 0, false);
    const auto openEditAndClose = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_EQ(editor.driver.dispatch(effEditOpen, 0, 0, editor.host()), 1);
            setWindowText(editor.inStage(NORMALIZE_PEAK_EDIT), "-3");
            setWindowText(editor.control(MAIN_WET_EDIT), "-3");
            RedrawWindow(editor.dialog(), nullptr, nullptr,
                         RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
            editor.close();
            serve(0);
            editor.takeNotes();
        }
    };
    openEditAndClose(20);
    const size_t memory = heapInUse();
    const int objects = drawingObjects(), window = windowNumber();
    const int times = 1000;
    openEditAndClose(times);
    EXPECT_LT(heapInUse(), memory + times * 4);
    EXPECT_LT(drawingObjects(), objects + times / 10);
    EXPECT_LT(windowNumber(), window + times / 10);
}

TEST(Editors, OfTwoInstancesStandSideBySideWhileAudioRuns) {
    EditorWindow one({"VERBGEN", "NORM 0.5"}), two({"ECHOGEN", "NORM 0.5"}, 1);
    const auto oneAudio = runAudio(one.driver), twoAudio = runAudio(two.driver);
    typeInto(one.inStage(NORMALIZE_PEAK_EDIT), "-20");
    click(two.iconOf(0));
    typeInto(two.control(MAIN_PREVERB_EDIT), "30");
    serve(500);
    EXPECT_EQ(one.chain().back(), "NORM 0.100000");
    EXPECT_EQ(two.chain().back(), "NORM 0.500000");
    EXPECT_EQ(two.chain()[0][0], '!');
    EXPECT_EQ(one.plugin.params[paramPreverb], 0.0);
    EXPECT_EQ(two.text(MAIN_PREVERB_EDIT), "30");
}

} // namespace tonvale::test
