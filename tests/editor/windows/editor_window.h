#pragma once

#include "core/reverb_plugin.h"
#include "test_host/effect_driver.h"

#include <windows.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace tonvale::test {

using Lines = std::vector<std::string>;

/// What the host was told of a parameter or, with index -1, of the state: opcode, index, value.
using HostNote = std::tuple<int32_t, int32_t, double>;

inline HostNote began(int32_t index) {
    return {audioMasterBeginEdit, index, 0.0};
}
inline HostNote changed(int32_t index, double value) {
    return {audioMasterAutomate, index, static_cast<float>(value)};
}
inline HostNote ended(int32_t index) {
    return {audioMasterEndEdit, index, 0.0};
}
constexpr HostNote stateChanged{audioMasterAutomate, -1, 0.0};

/// An instance with its editor in a window of a host, and a user at mouse and keyboard. Windows
/// stand side by side by their number.
class EditorWindow {
  public:
    /// The editor opens with the last stage of `chain` on show.
    explicit EditorWindow(const Lines &chain = {}, int number = 0, bool openNow = true);
    ~EditorWindow();
    EditorWindow(const EditorWindow &) = delete;
    EditorWindow &operator=(const EditorWindow &) = delete;

    bool open();
    void close() { driver.dispatch(effEditClose); }

    EffectDriver driver;
    ReverbPlugin &plugin;

    HWND host() const { return window; }
    HWND dialog() const { return plugin.editor.editorWindow.get(); }
    HWND stage() const { return plugin.editor.stageDialog.get(); }
    HWND control(int id) const { return GetDlgItem(dialog(), id); }
    HWND inStage(int id) const { return GetDlgItem(stage(), id); }
    std::string text(int id) const;
    std::string stageText(int id) const;

    /// The chain as the texts of its stages, "!" in front of a bypassed one.
    Lines chain();
    Lines listRows() const;
    std::vector<int> selectedRows() const;
    /// The middle of a row's state icon or of its name, on the screen.
    POINT iconOf(int row) const;
    POINT nameOf(int row) const;
    void drop(const Lines &paths) const;

    /// What the host heard of this instance since the last call.
    std::vector<HostNote> takeNotes() const;

  private:
    HWND window;
};

/// Serves messages as a host does, for so many milliseconds; keys go through IsDialogMessage.
void serve(int milliseconds = 50);
/// Serves messages until it holds. False after five seconds.
bool serveUntil(const std::function<bool()> &holds);
/// Done from a timer after so many milliseconds, inside the loop of a menu or a chooser, which then
/// serves what it leads to.
void later(int milliseconds, std::function<void()> action);
/// Done by the host, once, inside the next call that tells it such a step (audioMaster...).
void whenTold(int32_t opcode, std::function<void()> action);

RECT placeOf(HWND window);
POINT middleOf(HWND window);
LRESULT itemOn(HWND comboBox);
bool isChecked(HWND box);

// The user. Each serves the messages that it leads to.
void moveMouse(POINT place);
void pressMouse();
void releaseMouse();
/// Leaves the button down.
void drag(POINT from, POINT to);
void click(POINT place);
void click(HWND control);
void turnWheel(POINT place, int delta);
/// With a key held down, such as VK_CONTROL.
void holdKey(WORD key);
void letGoKey(WORD key);
void pressKey(WORD key);
void typeText(const std::string &text);
/// Gives the edit box the focus, and types over what it says.
void typeInto(HWND edit, const std::string &text);

} // namespace tonvale::test
