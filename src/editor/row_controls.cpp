#include "editor/row_controls.h"

#include "editor/fader.h"
#include "editor/mute.h"
#include "host/host_functions.h"
#include "host/localized_text.h"
#include "text/number_text.h"
#include "text/window_text.h"

#include <cstring>
#include <string>
#include <windowsx.h>

namespace tonvale {

namespace {

/// Names that are spoken badly as they stand on the screen.
constexpr struct {
    const char *name;
    const char *spoken;
} spokenNames[] = {
    {"lowpass", "Low Pass"},
    {"lopass", "Low Pass"},
    {"highpass", "High Pass"},
    {"hipass", "High Pass"},
};

const char *spokenName(const char *name) {
    const char *translated = localizedText(name, "tonvale", 0);
    if (std::strcmp(translated, name) != 0)
        return translated;
    for (const auto &[written, spoken] : spokenNames) {
        if (compareIgnoringCase(name, written) == 0)
            return spoken;
    }
    return name;
}

/// Null takes the name back.
void nameControl(HWND control, const char *text) {
    if (control && hostFunctions.SetWindowAccessibilityString)
        hostFunctions.SetWindowAccessibilityString(control, text, 0);
}

bool isWheel(UINT message) {
    const UINT older = editorModule().wheelMessage;
    return message == WM_MOUSEWHEEL || (older != 0 && message == older);
}

/// On some systems an edit box keeps the wheel to itself.
LRESULT CALLBACK rowEditProcedure(HWND edit, UINT message, WPARAM wParam, LPARAM lParam) {
    if (isWheel(message))
        return SendMessageW(GetParent(edit), message, wParam, lParam);
    const auto before = reinterpret_cast<WNDPROC>(GetWindowLongPtrW(edit, GWLP_USERDATA));
    return CallWindowProcW(before, edit, message, wParam, lParam);
}

void handWheelUp(HWND edit) {
    const LONG_PTR before = GetWindowLongPtrW(edit, GWLP_WNDPROC);
    SetWindowLongPtrW(edit, GWLP_USERDATA, before);
    SetWindowLongPtrW(edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(rowEditProcedure));
}

/// A box that centres its text is narrow: without margins a gain fits in.
void dropMargins(HWND edit) {
    if (GetWindowLongPtrW(edit, GWL_STYLE) & ES_CENTER)
        SendMessageW(edit, EM_SETMARGINS, EC_LEFTMARGIN | EC_RIGHTMARGIN, 0);
}

} // namespace

int32_t RowControls::findByFader(HWND fader) const {
    for (size_t i = 0; fader && i < rows.size(); ++i) {
        if (rows[i].minValue != toggleRow && control(rows[i].controlId) == fader)
            return static_cast<int32_t>(i);
    }
    return -1;
}

int32_t RowControls::findByEdit(int id) const {
    for (size_t i = 0; id != 0 && i < rows.size(); ++i) {
        if (rows[i].minValue != toggleRow && rows[i].editId == id)
            return static_cast<int32_t>(i);
    }
    return -1;
}

HWND RowControls::fader(int32_t row) const {
    const ControlRow &own = rows[static_cast<size_t>(row)];
    return own.minValue == toggleRow ? nullptr : control(own.controlId);
}

HWND RowControls::edit(int32_t row) const {
    return control(rows[static_cast<size_t>(row)].editId);
}

void RowControls::prepare() const {
    for (int32_t i = 0; i < count(); ++i) {
        const HWND ownFader = fader(i);
        if (!ownFader)
            continue;
        enableFader(ownFader);
        setFaderDefault(ownFader, law.defaultPosition(i));
        if (const HWND ownEdit = edit(i)) {
            handWheelUp(ownEdit);
            dropMargins(ownEdit);
        }
    }
}

void RowControls::name() const {
    for (int32_t i = 0; i < count(); ++i) {
        const HWND ownFader = fader(i);
        const HWND ownEdit = edit(i);
        if (!ownFader && !ownEdit)
            continue;
        const ControlRow &row = rows[static_cast<size_t>(i)];
        const char *label = spokenName(row.name);
        std::string withUnit;
        if (*row.unit) {
            withUnit = std::string(label) + " (" + localizedText(row.unit, "tonvale", 0) + ")";
            label = withUnit.c_str();
        }
        nameControl(ownEdit, label);
        setFaderLabel(ownFader, label, !withUnit.empty());
    }
}

void RowControls::unname() const {
    for (int32_t i = 0; i < count(); ++i)
        nameControl(edit(i), nullptr);
}

void RowControls::show(int32_t row, double value, unsigned parts) const {
    char text[rowTextSize];
    law.textOf(row, value, text);
    const HWND ownEdit = parts & rowEdit ? edit(row) : nullptr;
    if (ownEdit)
        setWindowText(ownEdit, text);
    const HWND ownFader = fader(row);
    if (parts & rowFader)
        setFaderPosition(ownFader, law.positionOf(row, value));
    if (parts & rowSpokenValue)
        setFaderValueText(ownFader, text);
}

HWND RowControls::faderUnder(POINT place) const {
    for (int32_t i = 0; i < count(); ++i) {
        const HWND ownFader = fader(i);
        const HWND ownEdit = edit(i);
        RECT box;
        if (ownFader && ownEdit && GetWindowRect(ownEdit, &box) && PtInRect(&box, place))
            return ownFader;
    }
    return nullptr;
}

bool RowControls::forwardWheel(DialogActivity &activity, UINT message, WPARAM wParam,
                               LPARAM lParam) const {
    if (!isWheel(message) || activity.wheelForwardDepth > 0)
        return false;
    const HWND target = faderUnder({GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)});
    if (!target)
        return false;
    if (message != WM_MOUSEWHEEL)
        wParam <<= 16;
    const int steps = wheelSteps(GET_WHEEL_DELTA_WPARAM(wParam));
    Mute forwarding(activity.wheelForwardDepth);
    SendMessageW(target, WM_MOUSEWHEEL, MAKEWPARAM(LOWORD(wParam), static_cast<WORD>(steps)),
                 lParam);
    return true;
}

void nameControls(HWND dialog, std::span<const SpokenControl> controls) {
    for (const auto &[id, name] : controls)
        nameControl(GetDlgItem(dialog, id), localizedText(name, "tonvale", 0));
}

void unnameControls(HWND dialog, std::span<const SpokenControl> controls) {
    for (const SpokenControl &spoken : controls)
        nameControl(GetDlgItem(dialog, spoken.id), nullptr);
}

} // namespace tonvale
