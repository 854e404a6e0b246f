#pragma once

namespace tonvale::workbench {

// The fader windows of this host: the global classes QUORINhfader and QUORINvfader, for the dialogs
// of plug-ins. A fader stands between 0 and 1000. The mouse takes it by its knob, or puts the knob
// where it clicks; with Control down it moves a tenth as far. Arrows move it by 10, with Control
// by 1, Page keys by 100, Home and End to its ends; a turn of the wheel by its delta, with Control
// a tenth of it. A double click leads to the default.
//
// Its parent hears of each move by WM_HSCROLL or WM_VSCROLL with SB_THUMBTRACK and the position in
// wParam and the fader in lParam, and once with SB_ENDSCROLL alone when it is let go: the button or
// key comes up, the focus goes, or the wheel rests.
//
// Window long 0 is 1 for a fader whose default the parent tells. Screen readers see a slider.

/// What a parent sends.
enum FaderMessage : unsigned {
    faderGetPosition = 1024, ///< answers it
    faderSetDefault = 1028,  ///< lParam: position; below 0 for that of 0 dB
    faderSetPosition = 1029, ///< lParam: position, held at the ends; the parent hears nothing
    faderSetText = 11023,    ///< wParam: a FaderText; lParam: UTF-8, copied; null takes it back
};
enum FaderText : unsigned {
    faderLabel = 1,
    faderValue = 2, ///< of the present position
    faderPassingLabel = 11,
};

/// Once in a process; later calls do nothing.
void registerFaderClasses();

} // namespace tonvale::workbench
