#include "text/window_text.h"
#include "workbench/services/translation.h"
#include "workbench/services/window_services.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <string>

namespace tonvale::workbench {

namespace {

/// What waits in the block for the dialog's start. The fifth word stays the system's.
enum BlockWord { blockProcedure, blockParameter, blockPrefix, blockResource };

/// Whether a window of this class shows a text that is the program's own.
bool hasFixedText(HWND window) {
    wchar_t name[32]{};
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    constexpr const wchar_t *classes[] = {L"Button", L"Static", L"#32770"};
    return std::any_of(std::begin(classes), std::end(classes),
                       [&](const wchar_t *fixed) { return lstrcmpiW(name, fixed) == 0; });
}

void translateWindow(HWND window, const std::string &section) {
    const std::string text = windowText(window);
    if (text.empty() || !hasFixedText(window))
        return;
    const char *translated = localise(text.c_str(), section.c_str(), 0);
    if (translated != text)
        setWindowText(window, translated);
}

void translateDialog(HWND dialog, const std::string &section) {
    if (!isTranslating())
        return;
    translateWindow(dialog, section);
    for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        translateWindow(child, section);
}

/// Stands in until the dialog starts, and then hands it over to its own procedure.
INT_PTR CALLBACK startingProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_INITDIALOG)
        return FALSE;
    void *const *block = reinterpret_cast<void **>(lParam);
    const auto procedure = reinterpret_cast<DLGPROC>(block[blockProcedure]);
    const auto parameter = reinterpret_cast<LPARAM>(block[blockParameter]);
    SetWindowLongPtrW(dialog, DWLP_DLGPROC, reinterpret_cast<LONG_PTR>(procedure));
    try {
        translateDialog(dialog,
                        std::string(static_cast<const char *>(block[blockPrefix])) + "DLG_" +
                            std::to_string(reinterpret_cast<uintptr_t>(block[blockResource])));
    } catch (const std::exception &) {
        // It starts in its own language.
    }
    return procedure(dialog, WM_INITDIALOG, wParam, parameter);
}

} // namespace

DLGPROC prepareDialog(const char *prefix, HINSTANCE, const char *resource, DLGPROC procedure,
                      LPARAM parameter, void **block, int five) {
    const bool isNumber = reinterpret_cast<uintptr_t>(resource) >> 16 == 0;
    if (!isTranslating() || !prefix || !isNumber || !procedure || !block || five < 5)
        return nullptr;
    block[blockProcedure] = reinterpret_cast<void *>(procedure);
    block[blockParameter] = reinterpret_cast<void *>(parameter);
    block[blockPrefix] = const_cast<char *>(prefix);
    block[blockResource] = const_cast<char *>(resource);
    return startingProcedure;
}

void initialiseDialog(HWND dialog, const char *section) {
    if (!section)
        return;
    try {
        translateDialog(dialog, section);
    } catch (const std::exception &) {
        // It stays in its own language.
    }
}

} // namespace tonvale::workbench
