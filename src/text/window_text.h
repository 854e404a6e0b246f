#pragma once

#include <string>
#include <windows.h>

namespace tonvale {

// The texts of windows, as UTF-8. On the thread of the user interface. A null window, and a row or
// an item that isn't there, reads as an empty text and takes none.

void setWindowText(HWND window, const std::string &text);
std::string windowText(HWND window);

void setControlText(HWND dialog, int id, const std::string &text);
std::string controlText(HWND dialog, int id);

/// Puts the caret of an edit control behind its last character.
void placeCaretAtEnd(HWND edit);

/// Inserts a row before `row`, with its state bits (LVIS_..., and INDEXTOSTATEIMAGEMASK of its
/// state image). Answers where it is, -1 where it couldn't be made.
int insertListRow(HWND listView, int row, const std::string &text, UINT state = 0);
std::string listRowText(HWND listView, int row);

/// Adds an item where the combo box sorts it, else at the end. Answers where it is, negative where
/// it couldn't be made.
int addComboItem(HWND comboBox, const std::string &text);
std::string comboItemText(HWND comboBox, int item);

/// Appends an item to a menu. False where it couldn't be made.
bool addMenuItem(HMENU menu, UINT id, const std::string &text);

/// A message box (MB_...) that waits for the user's answer (ID...).
int showMessage(HWND owner, const std::string &text, const std::string &title, UINT kind);

} // namespace tonvale
