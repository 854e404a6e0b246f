#include "editor/parameter_controls.h"

#include "convolution/containers/bounded_integer.h"
#include "core/module_state.h"
#include "core/reverb_plugin.h"
#include "editor/fader.h"
#include "editor/mute.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "editor/row_controls.h"
#include "host/localized_text.h"
#include "text/number_text.h"
#include "text/window_text.h"

#include <string>

namespace tonvale {

namespace {

constexpr int32_t smallestMaxFft = 32;
constexpr int32_t largestMaxFft = 16384;

constexpr SpokenControl spokenControls[] = {
    {MAIN_STAGE_LIST, "Impulse response loaders/modifiers"},
    {MAIN_ADD, "Add impulse response loader/modifier"},
    {MAIN_REMOVE, "Remove selected impulse response loader/modifier"},
    {MAIN_ZERO_LATENCY, "Zero latency mode"},
    {MAIN_LOW_LATENCY, "Low Latency (CPU offload) mode"},
};

constexpr ParameterLaw parameterLaw;

RowControls rowsOf(HWND dialog) {
    return {dialog, {paramRow(0), paramCount}, parameterLaw};
}

bool isToggle(int32_t row) {
    return paramRow(row)->minValue == toggleRow;
}

void tellHost(ReverbPlugin &plugin, HostOpcode opcode, int32_t row, float value = 0.0f) {
    if (const HostCallback callback = moduleState().audioMaster)
        callback(&plugin.effect, opcode, row, 0, nullptr, value);
}

void automate(ReverbPlugin &plugin, int32_t row) {
    float value = 0.0f;
    {
        CriticalScope audioScope(plugin.audioLock);
        value = static_cast<float>(plugin.params[row]);
    }
    tellHost(plugin, audioMasterAutomate, row, value);
}

/// A value that was typed or clicked. Opens an edit gesture, which goes on until another control is
/// touched or the focus goes. A host that is told of a step may close the editor, and the instance
/// with it, from inside; that ends the gesture.
void touchParam(ReverbPlugin &plugin, HWND dialog, int32_t row) {
    if (!moduleState().audioMaster)
        return;
    EditorLink &editor = plugin.editor;
    const bool isNew = editor.touchedParam != row;
    if (isNew) {
        endGesture(plugin, false);
        if (!isOpen(plugin, dialog))
            return;
        editor.touchedParam = row;
    }
    editor.touchedFocus.set(GetFocus());
    if (isNew)
        tellHost(plugin, audioMasterBeginEdit, row);
    if (isOpen(plugin, dialog))
        automate(plugin, row);
}

void showMaxFft(const ReverbPlugin &plugin, HWND dialog) {
    const HWND box = GetDlgItem(dialog, MAIN_MAX_FFT);
    const double shown = paramToPlain(paramMaxFft, plugin.params[paramMaxFft]) + 0.5;
    const int32_t wanted = boundedInteger(shown, 0, INT32_MAX);
    const auto items = static_cast<int>(SendMessageW(box, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < items; ++i) {
        if (readInteger(comboItemText(box, i).c_str()) == wanted)
            SendMessageW(box, CB_SETCURSEL, static_cast<WPARAM>(i), 0);
    }
}

/// What "copy to all" copies.
struct EngineOptions {
    explicit EngineOptions(const ReverbPlugin &plugin)
        : maxFft(plugin.params[paramMaxFft])
        , zeroLatency(isOn(plugin.params[paramZeroLatency]))
        , lowLatency(isOn(plugin.params[paramLowLatency])) {}

    /// Answers the mask of the parameters that change.
    uint32_t giveTo(ReverbPlugin &other) const {
        CriticalScope audioScope(other.audioLock);
        uint32_t changed = 0;
        for (const auto &[row, on] :
             {std::pair(paramZeroLatency, zeroLatency), std::pair(paramLowLatency, lowLatency)}) {
            if (isOn(other.params[row]) == on)
                continue;
            other.params[row] = on ? 1.0 : 0.0;
            changed |= 1u << row;
        }
        if (other.params[paramMaxFft] != maxFft) {
            other.params[paramMaxFft] = maxFft;
            changed |= 1u << paramMaxFft;
        }
        if (changed != 0) {
            other.applyDelayChange();
            other.editor.pendingControlMask.setBits(changed);
        }
        return changed;
    }

    double maxFft;
    bool zeroLatency;
    bool lowLatency;
};

} // namespace

void prepareParameterControls(HWND dialog) {
    rowsOf(dialog).prepare();
    const HWND box = GetDlgItem(dialog, MAIN_MAX_FFT);
    for (int32_t size = smallestMaxFft; size <= largestMaxFft; size *= 2)
        addComboItem(box, std::to_string(size));
}

void nameMainControls(HWND dialog) {
    rowsOf(dialog).name();
    nameControls(dialog, spokenControls);
}

void unnameMainControls(HWND dialog) {
    rowsOf(dialog).unname();
    unnameControls(dialog, spokenControls);
}

void syncControls(ReverbPlugin &plugin, HWND dialog, uint32_t mask) {
    Mute mute(editorModule().mainDialog.uiUpdateDepth);
    for (int32_t i = 0; i < paramCount; ++i) {
        if (!(mask >> i & 1))
            continue;
        const double value = plugin.params[i];
        if (i == paramMaxFft)
            showMaxFft(plugin, dialog);
        else if (isToggle(i))
            CheckDlgButton(dialog, paramRow(i)->controlId,
                           isOn(value) ? BST_CHECKED : BST_UNCHECKED);
        else
            rowsOf(dialog).show(i, value, rowEdit | rowFader | rowSpokenValue);
    }
}

void takeFaderMove(ReverbPlugin &plugin, HWND dialog, HWND fader, WORD code) {
    const RowControls rows = rowsOf(dialog);
    const int32_t row = rows.findByFader(fader);
    if (row >= 0) {
        const double value = parameterLaw.valueOf(row, faderPosition(fader));
        plugin.params[row] = value;
        {
            Mute mute(editorModule().mainDialog.uiUpdateDepth);
            rows.show(row, value, rowEdit | rowSpokenValue);
        }
        plugin.applyDelayChange();
        if (code == faderLetGo)
            tellHost(plugin, audioMasterEndEdit, row);
        else
            automate(plugin, row);
    }
    if (code == faderWantsDisplay)
        SendMessageW(dialog, WM_TIMER, 1, 0);
}

void takeTypedText(ReverbPlugin &plugin, HWND dialog, int editId) {
    if (editorModule().mainDialog.uiUpdateDepth > 0)
        return;
    const RowControls rows = rowsOf(dialog);
    const int32_t row = rows.findByEdit(editId);
    if (row < 0)
        return;
    const std::string text = controlText(dialog, editId).substr(0, rowTextSize - 1);
    const double value = parameterLaw.valueOfText(row, text.c_str());
    plugin.params[row] = value;
    rows.show(row, value, rowFader);
    setFaderValueText(rows.fader(row), text.c_str());
    plugin.applyDelayChange();
    touchParam(plugin, dialog, row);
}

void takeClickedBox(ReverbPlugin &plugin, HWND dialog, int boxId) {
    if (editorModule().mainDialog.uiUpdateDepth > 0)
        return;
    for (int32_t i = 0; i < paramCount; ++i) {
        if (!isToggle(i) || paramRow(i)->controlId != boxId)
            continue;
        plugin.params[i] = IsDlgButtonChecked(dialog, boxId) == BST_CHECKED ? 1.0 : 0.0;
        plugin.applyDelayChange();
        touchParam(plugin, dialog, i);
        if (isAlive(plugin) && (i == paramZeroLatency || i == paramLowLatency))
            plugin.rebuildImpulse();
        return;
    }
}

void takeMaxFft(ReverbPlugin &plugin, HWND dialog) {
    const HWND box = GetDlgItem(dialog, MAIN_MAX_FFT);
    const auto chosen = static_cast<int>(SendMessageW(box, CB_GETCURSEL, 0, 0));
    const int32_t size = chosen < 0 ? 0 : readInteger(comboItemText(box, chosen).c_str());
    if (size < 1)
        return;
    plugin.params[paramMaxFft] = plainToParam(paramMaxFft, size);
    rebuildAndTellHost(plugin);
}

void copyToAll(ReverbPlugin &plugin) {
    const EngineOptions options(plugin);
    const PointerList<ReverbPlugin> &instances = moduleState().instanceList;
    for (int32_t i = 0; i < instances.getSize(); ++i) {
        ReverbPlugin *other = instances.get(i);
        // A rebuild takes its own locks ahead of audioLock, which is left by then.
        if (other != &plugin && options.giveTo(*other) != 0)
            other->rebuildImpulse();
    }
}

bool takeWheel(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    return rowsOf(dialog).forwardWheel(editorModule().mainDialog, message, wParam, lParam);
}

void endGesture(ReverbPlugin &plugin, bool checkFocus) {
    EditorLink &editor = plugin.editor;
    const int32_t row = editor.touchedParam;
    if (row < 0 || (checkFocus && GetFocus() == editor.touchedFocus.get()))
        return;
    // First, since a host that is told may serve messages, and with them the tick that brings here.
    editor.forgetGesture();
    tellHost(plugin, audioMasterEndEdit, row);
}

} // namespace tonvale
