#include "editor/stage_dialog.h"

#include "chain/impulse_generator_chan_tool.h"
#include "chain/impulse_generator_echo_gen.h"
#include "chain/impulse_generator_edit.h"
#include "chain/impulse_generator_file.h"
#include "chain/impulse_generator_filter.h"
#include "chain/impulse_generator_normalize.h"
#include "chain/impulse_generator_reverb_gen.h"
#include "chain/impulse_generator_reverse.h"
#include "chain/window_messages.h"
#include "editor/channel_tool_dialog.h"
#include "editor/edit_dialog.h"
#include "editor/fader.h"
#include "editor/file_dialog.h"
#include "editor/filter_dialog.h"
#include "editor/localized_dialog.h"
#include "editor/mute.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "editor/stage_law.h"
#include "text/window_text.h"

#include <string>
#include <string_view>

namespace tonvale {

namespace {

constexpr RowDialogHooks noHooks{};

/// The dialog of a stage that is all rows, for the time of one message.
struct RowDialog {
    RowStage &stage;
    HWND window;
    const RowDialogHooks &hooks;
    StageLaw law{rows(), hooks.linearScale ? hooks.linearScale(stage) : 1.0};
    RowControls controls{window, rows(), law};
    DialogActivity &activity = editorModule().stageDialogs;

    std::span<const StageRow> rows() const {
        return {stage.getRows(), static_cast<size_t>(stage.getRowCount())};
    }

    void begin() {
        prepareWheelMessage();
        stage.dialog.set(window);
        controls.name();
        {
            const Mute mute(activity.uiUpdateDepth);
            controls.prepare();
            for (int32_t row = 0; row < stage.getRowCount(); ++row)
                controls.show(row, stage.setting(row), rowEdit | rowFader);
        }
        showRun();
    }

    void end() {
        controls.unname();
        stage.dialog.set(nullptr);
    }

    void showRun() {
        showStageStatus(stage, window);
        const Mute mute(activity.uiUpdateDepth);
        if (hooks.afterRun)
            hooks.afterRun(stage, controls);
    }

    void takeText(int editId) {
        const int32_t row = controls.findByEdit(editId);
        if (activity.uiUpdateDepth > 0 || row < 0)
            return;
        const Mute mute(activity.uiUpdateDepth);
        const double value = law.valueOfText(row, windowText(controls.edit(row)).c_str());
        stage.setting(row) = value;
        controls.show(row, value, rowFader);
        scheduleRebuild(window, false);
    }

    void takeFader(WPARAM what, HWND fader) {
        const int32_t row = controls.findByFader(fader);
        if (row < 0)
            return;
        const Mute mute(activity.uiUpdateDepth);
        const double value = law.valueOf(row, faderPosition(fader));
        stage.setting(row) = value;
        controls.show(row, value, rowEdit);
        const bool ended = what == faderLetGo;
        if (ended || !hooks.faderMoves || hooks.faderMoves(stage, window, row))
            scheduleRebuild(window, ended);
    }
};

template <const RowDialogHooks &hooks>
INT_PTR handleRowMessage(RowStage &stage, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    RowDialog dialog{stage, window, hooks};
    switch (message) {
    case WM_INITDIALOG:
        dialog.begin();
        return FALSE;
    case WM_DESTROY:
        dialog.end();
        return FALSE;
    case stageStatusMessage:
        dialog.showRun();
        return FALSE;
    case WM_COMMAND:
        if (HIWORD(wParam) == EN_CHANGE)
            dialog.takeText(LOWORD(wParam));
        return FALSE;
    case WM_HSCROLL:
    case WM_VSCROLL:
        dialog.takeFader(wParam, reinterpret_cast<HWND>(lParam));
        return FALSE;
    default:
        return dialog.controls.forwardWheel(dialog.activity, message, wParam, lParam) ? -1 : FALSE;
    }
}

/// What the dialog of one stage type is made from.
struct StageKind {
    std::string_view typeKey;
    int resource;
    DLGPROC procedure;
    void *(*objectOf)(ImpulseGenerator &); ///< what the procedure works on
};

template <class Stage, const RowDialogHooks &hooks = noHooks>
constexpr StageKind rowKind(int resource) {
    return {Stage::typeKey, resource, dialogProcedure<RowStage, handleRowMessage<hooks>>,
            [](ImpulseGenerator &stage) -> void * { return static_cast<RowStage *>(&stage); }};
}

template <class Stage>
constexpr StageKind ownKind(int resource, DLGPROC procedure) {
    return {Stage::typeKey, resource, procedure,
            [](ImpulseGenerator &stage) -> void * { return static_cast<Stage *>(&stage); }};
}

constexpr StageKind kinds[] = {
    ownKind<ImpulseGenerator_ChanTool>(DIALOG_CHANNEL_TOOL, channelToolProcedure),
    ownKind<ImpulseGenerator_File>(DIALOG_FILE, fileProcedure),
    rowKind<ImpulseGenerator_Edit, editDialogHooks>(DIALOG_EDIT),
    rowKind<ImpulseGenerator_Filter, filterDialogHooks>(DIALOG_FILTER),
    rowKind<ImpulseGenerator_EchoGen>(DIALOG_ECHO),
    rowKind<ImpulseGenerator_Normalize>(DIALOG_NORMALIZE),
    rowKind<ImpulseGenerator_ReverbGen>(DIALOG_REVERB),
    rowKind<ImpulseGenerator_Reverse>(DIALOG_REVERSE),
};

} // namespace

void showStageStatus(StatusStage &stage, HWND dialog) {
    std::string input, output;
    {
        CriticalScope scope(stage.lock);
        input = stage.inputStatus;
        output = stage.outputStatus;
    }
    setControlText(dialog, STAGE_INPUT_STATUS, input);
    setControlText(dialog, STAGE_OUTPUT_STATUS, output);
}

void addNumbers(HWND comboBox, int32_t last) {
    for (int32_t number = 1; number <= last; ++number)
        addComboItem(comboBox, std::to_string(number));
}

HWND createStageDialog(ImpulseGenerator &stage, HWND parent) {
    for (const StageKind &kind : kinds) {
        if (kind.typeKey == stage.getTypeKey())
            return createLocalizedDialog(kind.resource, parent, kind.procedure,
                                         kind.objectOf(stage));
    }
    return nullptr;
}

} // namespace tonvale
