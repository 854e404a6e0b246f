#include "editor/fader.h"

namespace tonvale {

namespace {

constexpr UINT getPositionMessage = 1024;
constexpr UINT setDefaultMessage = 1028;
constexpr UINT setPositionMessage = 1029;
constexpr UINT textMessage = 11023;

/// What the text of that message is.
enum FaderText : WPARAM { keptLabel = 1, spokenValue = 2, copiedLabel = 11 };

void sendText(HWND fader, FaderText kind, const char *text) {
    if (fader)
        SendMessageW(fader, textMessage, kind, reinterpret_cast<LPARAM>(text));
}

} // namespace

void enableFader(HWND fader) {
    if (fader)
        SetWindowLongW(fader, 0, 1);
}

void setFaderPosition(HWND fader, int position) {
    if (fader)
        SendMessageW(fader, setPositionMessage, 0, position);
}

int faderPosition(HWND fader) {
    return fader ? static_cast<int>(SendMessageW(fader, getPositionMessage, 0, 0)) : 0;
}

void setFaderDefault(HWND fader, int position) {
    if (fader)
        SendMessageW(fader, setDefaultMessage, 0, position);
}

void setFaderLabel(HWND fader, const char *text, bool temporary) {
    sendText(fader, temporary ? copiedLabel : keptLabel, text);
}

void setFaderValueText(HWND fader, const char *text) {
    sendText(fader, spokenValue, text);
}

} // namespace tonvale
