#include "editor/channel_tool_dialog.h"

#include "chain/impulse_generator_chan_tool.h"
#include "chain/window_messages.h"
#include "editor/localized_dialog.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "editor/row_controls.h"
#include "editor/stage_dialog.h"
#include "host/localized_text.h"
#include "text/window_text.h"

#include <span>

namespace tonvale {

namespace {

constexpr const char *actions[] = {"Swap", "Copy", "AddTo", "SubtractFrom", "Convolve"};
constexpr const char *automatic[] = {"Automatic"};

/// A combo box and the setting that it chooses.
struct ChannelBox {
    int id;
    Relaxed<int32_t> ImpulseGenerator_ChanTool::*setting;
    std::span<const char *const> words; ///< the first entries, to be translated
    int32_t lastNumber;                 ///< the other entries are 1 to this
    int32_t firstValue;                 ///< the setting that the first entry stands for
};

using Tool = ImpulseGenerator_ChanTool;
constexpr ChannelBox boxes[] = {
    {CHANNEL_SOURCE, &Tool::source, {}, Tool::maxGroup, 0},
    {CHANNEL_COUNT, &Tool::count, {}, Tool::maxGroup, 1},
    {CHANNEL_ACTION, &Tool::action, actions, 0, 0},
    {CHANNEL_DESTINATION, &Tool::destination, {}, Tool::maxGroup, 0},
    {CHANNEL_TOTAL, &Tool::total, automatic, Tool::maxGroup, 0},
};

constexpr SpokenControl spokenControls[] = {
    {CHANNEL_SOURCE, "Source channel"},     {CHANNEL_COUNT, "Channel count"},
    {CHANNEL_ACTION, "Channel action"},     {CHANNEL_DESTINATION, "Destination channel"},
    {CHANNEL_TOTAL, "Total channel count"},
};

void fill(HWND comboBox, const ChannelBox &box) {
    for (const char *word : box.words)
        addComboItem(comboBox, localizedText(word, "tonvale", 0));
    addNumbers(comboBox, box.lastNumber);
}

void begin(Tool &stage, HWND dialog) {
    stage.dialog.set(dialog);
    nameControls(dialog, spokenControls);
    for (const ChannelBox &box : boxes) {
        const HWND comboBox = GetDlgItem(dialog, box.id);
        fill(comboBox, box);
        // A setting that has no entry selects none. Nothing but a text form gives one.
        const int64_t entry = int64_t{stage.*box.setting} - box.firstValue;
        SendMessageW(comboBox, CB_SETCURSEL, static_cast<WPARAM>(entry), 0);
    }
    showStageStatus(stage, dialog);
}

void end(Tool &stage, HWND dialog) {
    unnameControls(dialog, spokenControls);
    stage.dialog.set(nullptr);
}

void takeChoice(Tool &stage, HWND dialog, int id) {
    for (const ChannelBox &box : boxes) {
        if (box.id != id)
            continue;
        const LRESULT entry = SendDlgItemMessageW(dialog, id, CB_GETCURSEL, 0, 0);
        if (entry < 0)
            return;
        stage.*box.setting = static_cast<int32_t>(entry) + box.firstValue;
        scheduleRebuild(dialog, true);
    }
}

INT_PTR handleChannelTool(Tool &stage, HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
    case WM_INITDIALOG:
        begin(stage, dialog);
        break;
    case WM_DESTROY:
        end(stage, dialog);
        break;
    case stageStatusMessage:
        showStageStatus(stage, dialog);
        break;
    case WM_COMMAND:
        if (HIWORD(wParam) == CBN_SELCHANGE)
            takeChoice(stage, dialog, LOWORD(wParam));
        break;
    }
    return FALSE;
}

} // namespace

INT_PTR CALLBACK channelToolProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return dialogProcedure<Tool, handleChannelTool>(window, message, wParam, lParam);
}

} // namespace tonvale
