#pragma once

#include "chain/control_row.h"
#include "editor/editor_module.h"
#include "editor/row_law.h"

#include <windows.h>

#include <span>

namespace tonvale {

/// What of a row RowControls::show writes.
enum RowPart : unsigned {
    rowEdit = 1,       ///< text of the edit box
    rowFader = 2,      ///< position of the fader
    rowSpokenValue = 4 ///< the fader's value text
};

/// The faders and edit boxes that a span of rows names, in one dialog. Check boxes of toggle rows
/// are none of its business. Made on the spot for each message; refers to what it is given.
class RowControls {
  public:
    RowControls(HWND ownDialog, std::span<const ControlRow> ownRows, const RowLaw &ownLaw)
        : dialog(ownDialog)
        , rows(ownRows)
        , law(ownLaw) {}

    /// The row with that fader, or with that edit box; -1 where there is none.
    int32_t findByFader(HWND fader) const;
    int32_t findByEdit(int id) const;
    /// Null where the row has none.
    HWND fader(int32_t row) const;
    HWND edit(int32_t row) const;

    /// Once at the dialog's start: wakes the faders, tells them their defaults, and makes the edit
    /// boxes hand the wheel up to the dialog.
    void prepare() const;
    /// Names edit boxes and faders for screen readers at the dialog's start, and takes the names
    /// back at its end.
    void name() const;
    void unname() const;

    /// Writes a stored value into the parts (RowPart) of a row that it has. The caller mutes what
    /// the edit box tells of that.
    void show(int32_t row, double value, unsigned parts) const;

    /// Takes a message of the wheel whose place on the screen lies in a row's edit box: the row's
    /// fader gets it, in the fader's own small steps. False for any other message, and while one
    /// that no fader took is on its way up again.
    bool forwardWheel(DialogActivity &activity, UINT message, WPARAM wParam, LPARAM lParam) const;

  private:
    int32_t count() const { return static_cast<int32_t>(rows.size()); }
    HWND control(uint16_t id) const { return id ? GetDlgItem(dialog, id) : nullptr; }
    HWND faderUnder(POINT place) const;

    HWND dialog;
    std::span<const ControlRow> rows;
    const RowLaw &law;
};

/// A control beside the rows that is spoken by more than its text.
struct SpokenControl {
    int id;
    const char *name; ///< to be translated
};

/// Names them for screen readers at the dialog's start, and takes the names back at its end.
void nameControls(HWND dialog, std::span<const SpokenControl> controls);
void unnameControls(HWND dialog, std::span<const SpokenControl> controls);

/// A turn of the wheel in the steps of a fader: `delta` / 32, but 1 or -1 where that would be 0 for
/// one that isn't.
constexpr int wheelSteps(int delta) {
    const int steps = delta / 32;
    return steps != 0 || delta == 0 ? steps : (delta > 0 ? 1 : -1);
}

} // namespace tonvale
