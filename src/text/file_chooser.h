#pragma once

#include <optional>
#include <string>
#include <windows.h>

#include <commdlg.h>

namespace tonvale {

/// What a file chooser of the system is asked for. All texts are UTF-8.
struct FileChooser {
    HWND owner = nullptr;
    std::string title{};
    /// Pairs of a label and its patterns, each text with its terminator, and an empty text at the
    /// end; null for none.
    const char *filters = nullptr;
    std::string folder{};       ///< where it starts; empty: where the system likes
    std::string path{};         ///< offered at the start; one that the system refuses is left out
    size_t longestPath = 1023;  ///< of what may be chosen, in units of UTF-16
    std::string extension{};    ///< without its dot, for a name typed without one
    DWORD flags = 0;            ///< OFN_...
    HINSTANCE module = nullptr; ///< has the template, with OFN_ENABLETEMPLATE
    int templateId = 0;
    LPOFNHOOKPROC hook = nullptr; ///< with OFN_ENABLEHOOK
    LPARAM hookParameter = 0;     ///< the hook finds it in the OPENFILENAME of WM_INITDIALOG
};

/// Shows the chooser and waits. The path chosen, or nothing where the user cancelled it and where
/// the system finds the path too long. On the thread of the user interface.
std::optional<std::string> chooseFileToOpen(const FileChooser &chooser);
std::optional<std::string> chooseFileToSave(const FileChooser &chooser);

} // namespace tonvale
