#include "text/window_text.h"

#include "text/wide_text.h"

#include <commctrl.h>

namespace tonvale {

namespace {

/// Rows and items of other programs' lists aren't longer either.
constexpr int longestRow = 1024;

} // namespace

void setWindowText(HWND window, const std::string &text) {
    SetWindowTextW(window, wideText(text).c_str());
}

std::string windowText(HWND window) {
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)), 0);
    // The terminator goes where the string keeps its own.
    const int length = GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1);
    text.resize(static_cast<size_t>(length));
    return utf8Text(text);
}

void setControlText(HWND dialog, int id, const std::string &text) {
    setWindowText(GetDlgItem(dialog, id), text);
}

std::string controlText(HWND dialog, int id) {
    return windowText(GetDlgItem(dialog, id));
}

void placeCaretAtEnd(HWND edit) {
    const auto end = static_cast<WPARAM>(GetWindowTextLengthW(edit));
    SendMessageW(edit, EM_SETSEL, end, static_cast<LPARAM>(end));
}

int insertListRow(HWND listView, int row, const std::string &text, UINT state) {
    std::wstring wide = wideText(text);
    LVITEMW item{};
    item.mask = LVIF_TEXT | LVIF_STATE;
    item.iItem = row;
    item.pszText = wide.data();
    item.state = state;
    item.stateMask = state;
    // For a null list the answer would be 0, the first row.
    return IsWindow(listView) ? ListView_InsertItem(listView, &item) : -1;
}

std::string listRowText(HWND listView, int row) {
    wchar_t text[longestRow] = L"";
    LVITEMW item{};
    item.pszText = text;
    item.cchTextMax = longestRow;
    const auto length = SendMessageW(listView, LVM_GETITEMTEXTW, static_cast<WPARAM>(row),
                                     reinterpret_cast<LPARAM>(&item));
    return length > 0 ? utf8Text(item.pszText) : "";
}

int addComboItem(HWND comboBox, const std::string &text) {
    if (!IsWindow(comboBox))
        return CB_ERR;
    const std::wstring wide = wideText(text);
    return static_cast<int>(
        SendMessageW(comboBox, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(wide.c_str())));
}

std::string comboItemText(HWND comboBox, int item) {
    const LRESULT length = SendMessageW(comboBox, CB_GETLBTEXTLEN, static_cast<WPARAM>(item), 0);
    if (length <= 0)
        return "";
    std::wstring text(static_cast<size_t>(length), 0);
    SendMessageW(comboBox, CB_GETLBTEXT, static_cast<WPARAM>(item),
                 reinterpret_cast<LPARAM>(text.data()));
    return utf8Text(text);
}

bool addMenuItem(HMENU menu, UINT id, const std::string &text) {
    return AppendMenuW(menu, MF_STRING, id, wideText(text).c_str());
}

int showMessage(HWND owner, const std::string &text, const std::string &title, UINT kind) {
    return MessageBoxW(owner, wideText(text).c_str(), wideText(title).c_str(), kind);
}

} // namespace tonvale
