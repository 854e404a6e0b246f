#include "text/window_text.h"

#include "text/drawn_text.h"
#include "text/wide_text.h"

#include <commctrl.h>
#include <cstdint>
#include <gtest/gtest.h>
#include <thread>

namespace tonvale {
namespace {

/// Two, three and four bytes, and what menus take for a mark.
const std::string text = "Ωμέγα & 日本語 𝄞";
constexpr const wchar_t *wide = L"Ωμέγα & 日本語 𝄞";

/// A window with one control.
class WindowText : public testing::Test {
  protected:
    static constexpr int id = 77;

    HWND makeControl(const wchar_t *kind, DWORD style) {
        return CreateWindowExW(0, kind, L"", WS_CHILD | WS_VISIBLE | style, 0, 0, 200, 100, parent,
                               reinterpret_cast<HMENU>(static_cast<intptr_t>(id)), nullptr,
                               nullptr);
    }
    void TearDown() override { DestroyWindow(parent); }

    HWND parent = CreateWindowExW(0, L"Static", L"", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200, nullptr,
                                  nullptr, nullptr, nullptr);
};

TEST_F(WindowText, GoesToAndFromControlsAsItIs) {
    const HWND edit = makeControl(L"Edit", 0);
    setControlText(parent, id, text);
    wchar_t shown[100] = L"";
    GetWindowTextW(edit, shown, 100);
    EXPECT_STREQ(shown, wide);
    EXPECT_EQ(windowText(edit), text);
    EXPECT_EQ(controlText(parent, id), text);

    placeCaretAtEnd(edit);
    SendMessageW(edit, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(L"!"));
    EXPECT_EQ(windowText(edit), text + "!");

    setWindowText(edit, "broken \xff\xe6\x97");
    EXPECT_EQ(windowText(edit).find("broken \xef\xbf\xbd"), 0u);
    setControlText(parent, id + 1, text);
    EXPECT_EQ(controlText(parent, id + 1), "");
    EXPECT_EQ(windowText(nullptr), "");
}

TEST_F(WindowText, StandsInItemsAndRows) {
    const HWND combo = makeControl(L"ComboBox", CBS_DROPDOWNLIST | CBS_SORT);
    for (const std::string &item : {text, std::string("a"), std::string()})
        EXPECT_EQ(addComboItem(combo, item), 0) << "sorted before " << item;
    EXPECT_EQ(comboItemText(combo, 1) + comboItemText(combo, 2), "a" + text);
    DestroyWindow(combo);

    InitCommonControls();
    const HWND list = makeControl(WC_LISTVIEWW, LVS_REPORT);
    LVCOLUMNW column{};
    ListView_InsertColumn(list, 0, &column);
    EXPECT_EQ(insertListRow(list, 0, "last"), 0);
    EXPECT_EQ(insertListRow(list, 0, text), 0);
    EXPECT_EQ(listRowText(list, 0) + listRowText(list, 1), text + "last");
    for (const HWND window : {list, HWND{nullptr}})
        EXPECT_EQ(listRowText(window, 2) + comboItemText(window, 4), "");
    EXPECT_LT(insertListRow(nullptr, 0, text) + addComboItem(nullptr, text), -1);
}

TEST_F(WindowText, StandsInMenusAndMessages) {
    const HMENU menu = CreatePopupMenu();
    EXPECT_TRUE(addMenuItem(menu, 1024, text));
    wchar_t shown[100] = L"";
    GetMenuStringW(menu, 1024, shown, 100, MF_BYCOMMAND);
    EXPECT_STREQ(shown, wide);
    DestroyMenu(menu);
    EXPECT_FALSE(addMenuItem(menu, 1024, text));

    std::string told;
    std::thread user([&] {
        HWND box = nullptr;
        for (int i = 0; i < 200 && !IsWindowVisible(box); ++i) {
            Sleep(50);
            box = FindWindowW(L"#32770", wide);
        }
        for (HWND part = nullptr; (part = FindWindowExW(box, part, L"Static", nullptr));)
            told += windowText(part);
        PostMessageW(box, WM_COMMAND, IDNO, 0);
    });
    EXPECT_EQ(showMessage(parent, text, text, MB_YESNO), IDNO);
    user.join();
    EXPECT_EQ(told, text);
}

TEST_F(WindowText, IsDrawnAsLongAsItIs) {
    const HDC context = CreateCompatibleDC(nullptr);
    const HFONT font = makeFont(40, "Arial");
    SelectObject(context, font);
    RECT place{}, longer{};
    EXPECT_NEAR(drawText(context, "Ω", place, DT_CALCRECT), 40, 8);
    drawText(context, "ΩΩΩ&", longer, DT_CALCRECT | DT_SINGLELINE);
    EXPECT_GT(longer.right, 3 * place.right); // the ampersand takes room too
    EXPECT_LT(longer.right, 5 * place.right);
    DeleteDC(context);
    DeleteObject(font);
}

} // namespace
} // namespace tonvale
