#include "editor/file_dialog.h"

#include "chain/impulse_generator_file.h"
#include "chain/window_messages.h"
#include "editor/localized_dialog.h"
#include "editor/measure_dialogs.h"
#include "editor/rebuild_schedule.h"
#include "editor/resources/resource.h"
#include "editor/row_controls.h"
#include "editor/stage_dialog.h"
#include "host/host_functions.h"
#include "host/localized_text.h"
#include "text/directory_scan.h"
#include "text/file_chooser.h"
#include "text/file_names.h"
#include "text/number_text.h"
#include "text/profile.h"
#include "text/window_text.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

namespace tonvale {

namespace {

using Stage = ImpulseGenerator_File;

constexpr const char *section = "tonvale";
constexpr const char *folderKey = "lastdir";

// Bits of the stage's flags beside the named ones.
constexpr int32_t gainBits = 0x3e;
constexpr int32_t offsetShift = 8;
constexpr int32_t offsetBits = 0xff << offsetShift;
constexpr int32_t offsetCount = 128;

struct GainMode {
    const char *label;
    int32_t flags;
};

constexpr GainMode gainModes[] = {
    {"Normal", Stage::defaultFlags},
    {"Apply -18dB gain", Stage::sourceRateGain | Stage::useResampler | Stage::compareMagnitudes},
    {"[deprecated] usually-correct SRC-gain",
     Stage::startGainOne | Stage::sourceRateGain | Stage::useResampler},
    {"[deprecated] usually-correct SRC-gain, -18dB", Stage::sourceRateGain | Stage::useResampler},
    {"[deprecated] incorrect SRC-gain", Stage::startGainOne | Stage::sourceRateGain},
    {"[deprecated] incorrect SRC-gain, -18dB", Stage::sourceRateGain},
    {"[deprecated] no SRC-gain", Stage::startGainOne},
    {"[deprecated] no SRC-gain, -18dB", 0},
    {"[deprecated] normalize to +0dB", Stage::startGainOne | Stage::normalisePeak},
    {"[deprecated] normalize to -18dB", Stage::normalisePeak},
};

constexpr SpokenControl spokenControls[] = {
    {FILE_LIST, "File list"},
    {FILE_GAIN, "Gain adjustment"},
    {FILE_OFFSET, "Destination channel offset"},
};

// Paths, as text: a byte that is a slash is nothing else in UTF-8.

constexpr const char *slashes = "/\\";

std::string folderOf(const std::string &path) {
    return path.substr(0, path.find_last_of(slashes));
}

/// As the system's chooser takes it: with its own slashes, and no two of them below a drive.
std::string chooserPath(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    if (path.size() > 1 && path[1] == ':')
        path.erase(std::unique(path.begin(), path.end(),
                               [](char a, char b) { return a == '\\' && b == '\\'; }),
                   path.end());
    return path;
}

bool isMediaFile(const std::string &name) {
    const size_t dot = name.find_last_of('.');
    return dot != std::string::npos && hostFunctions.IsMediaExtension(name.c_str() + dot + 1, 0);
}

// What the dialog shows.

LRESULT tell(HWND dialog, int id, UINT message, WPARAM wParam) {
    return SendDlgItemMessageW(dialog, id, message, wParam, 0);
}

/// The media files beside the present one, and that one, selected.
void listFolder(HWND fileList, const std::string &path) {
    SendMessageW(fileList, CB_RESETCONTENT, 0, 0);
    const size_t slash = path.find_last_of(slashes);
    DirectoryScan scan;
    if (slash == std::string::npos || !hostFunctions.IsMediaExtension ||
        scan.first(path.substr(0, slash)) != 0)
        return;

    const std::string present = path.substr(slash + 1);
    do {
        const std::string name = scan.name();
        if (name.starts_with('.') || scan.isDirectory())
            continue;
        if (name == present || isMediaFile(name))
            addComboItem(fileList, name);
    } while (scan.next() == 0);

    // The list sorts itself, so that a place is known only now.
    const LRESULT count = SendMessageW(fileList, CB_GETCOUNT, 0, 0);
    for (int item = 0; item < count; ++item) {
        if (comboItemText(fileList, item) == present)
            SendMessageW(fileList, CB_SETCURSEL, static_cast<WPARAM>(item), 0);
    }
}

void showFile(Stage &stage, HWND dialog) {
    const int32_t offset = (stage.flags & offsetBits) >> offsetShift;
    tell(dialog, FILE_OFFSET, CB_SETCURSEL, static_cast<WPARAM>(offset));
    const std::string path = stage.getPath();
    setControlText(dialog, FILE_FOLDER, folderOf(path));
    placeCaretAtEnd(GetDlgItem(dialog, FILE_FOLDER));
    tell(dialog, FILE_FOLDER, EM_SCROLLCARET, 0);
    listFolder(GetDlgItem(dialog, FILE_LIST), path);
}

void showStatus(Stage &stage, HWND dialog) {
    std::string status;
    {
        CriticalScope scope(stage.lock);
        status = stage.status;
    }
    setControlText(dialog, FILE_STATUS, status);
}

void begin(Stage &stage, HWND dialog) {
    stage.dialog.set(dialog);
    nameControls(dialog, spokenControls);

    const int32_t flags = stage.flags;
    tell(dialog, FILE_MONO, BM_SETCHECK, flags & Stage::mixToMono ? BST_CHECKED : BST_UNCHECKED);
    for (const GainMode &mode : gainModes) {
        const int item = addComboItem(GetDlgItem(dialog, FILE_GAIN),
                                      localizedText(mode.label, "tonvale_gain", 0));
        if (mode.flags == (flags & gainBits))
            tell(dialog, FILE_GAIN, CB_SETCURSEL, static_cast<WPARAM>(item));
    }
    addNumbers(GetDlgItem(dialog, FILE_OFFSET), offsetCount);
    showFile(stage, dialog);
    showStatus(stage, dialog);
}

void end(Stage &stage, HWND dialog) {
    unnameControls(dialog, spokenControls);
    stage.dialog.set(nullptr);
}

// What its controls do.

void takeFlags(Stage &stage, HWND dialog, int32_t bits, int32_t value) {
    const int32_t flags = stage.flags;
    if ((flags & bits) == value)
        return;
    stage.flags = (flags & ~bits) | value;
    scheduleRebuild(dialog, true);
}

void takeMono(Stage &stage, HWND dialog) {
    const bool isChecked = tell(dialog, FILE_MONO, BM_GETCHECK, 0) == BST_CHECKED;
    takeFlags(stage, dialog, Stage::mixToMono, isChecked ? Stage::mixToMono : 0);
}

void takeGain(Stage &stage, HWND dialog) {
    const LRESULT item = tell(dialog, FILE_GAIN, CB_GETCURSEL, 0);
    if (item >= 0 && item < std::ssize(gainModes))
        takeFlags(stage, dialog, gainBits, gainModes[item].flags);
}

void takeOffset(Stage &stage, HWND dialog) {
    const LRESULT item = tell(dialog, FILE_OFFSET, CB_GETCURSEL, 0);
    if (item >= 0 && item < offsetCount)
        takeFlags(stage, dialog, offsetBits, static_cast<int32_t>(item) << offsetShift);
}

/// Opens `path` unless it is open already. True where it wasn't.
bool takePath(Stage &stage, const std::string &path) {
    if (stage.isOpen() && compareIgnoringCase(path.c_str(), stage.getPath().c_str()) == 0)
        return false;
    stage.replaceFile(path.c_str());
    return true;
}

void pickFile(Stage &stage, HWND dialog) {
    const HWND fileList = GetDlgItem(dialog, FILE_LIST);
    const auto item = static_cast<int>(SendMessageW(fileList, CB_GETCURSEL, 0, 0));
    const std::string name = item < 0 ? "" : comboItemText(fileList, item);
    if (name.empty())
        return;
    const std::string present = stage.getPath();
    if (takePath(stage, present.substr(0, present.find_last_of(slashes) + 1) + name))
        scheduleRebuild(dialog, true);
}

std::string settingsFile() {
    const char *file = hostFunctions.get_ini_file ? hostFunctions.get_ini_file() : nullptr;
    return file ? file : "";
}

void browse(Stage &stage, HWND dialog) {
    const std::string settings = settingsFile();
    FileChooser chooser;
    chooser.owner = dialog;
    chooser.title = localizedText("Open media file:", section, 0);
    if (hostFunctions.plugin_getFilterList)
        chooser.filters = hostFunctions.plugin_getFilterList();
    if (!settings.empty())
        chooser.folder = readProfileText(settings, section, folderKey);
    if (chooser.folder.empty())
        chooser.folder = currentDirectory();
    chooser.path = chooserPath(stage.getPath());
    chooser.flags = OFN_HIDEREADONLY | OFN_FILEMUSTEXIST | OFN_EXPLORER;
    const std::optional<std::string> chosen = chooseFileToOpen(chooser);
    if (!chosen)
        return;
    if (!settings.empty())
        writeProfileText(settings, section, folderKey, folderOf(*chosen));
    // While the chooser was open, the dialog may have gone, and its stage with it.
    if (GetWindowLongPtrW(dialog, GWLP_USERDATA) != reinterpret_cast<LONG_PTR>(&stage))
        return;
    stage.replaceFile(chosen->c_str());
    showFile(stage, dialog);
    scheduleRebuild(dialog, true);
}

void takeResponse(Stage &stage, HWND dialog, const char *path) {
    if (!path)
        return;
    takePath(stage, path);
    showFile(stage, dialog);
    scheduleRebuild(dialog, true);
}

struct Command {
    int id;
    WORD notice;
    void (*run)(Stage &, HWND dialog);
};

constexpr Command commands[] = {
    {FILE_MONO, BN_CLICKED, takeMono},
    {FILE_GAIN, CBN_SELCHANGE, takeGain},
    {FILE_OFFSET, CBN_SELCHANGE, takeOffset},
    {FILE_LIST, CBN_SELCHANGE, pickFile},
    {FILE_BROWSE, BN_CLICKED, browse},
    {FILE_TONE, BN_CLICKED, [](Stage &, HWND dialog) { generateTestTone(dialog); }},
    {FILE_DECONVOLVE, BN_CLICKED, [](Stage &, HWND dialog) { deconvolveRecording(dialog); }},
};

/// Nothing here may follow a command, behind which the stage can be gone.
void runCommand(Stage &stage, HWND dialog, WPARAM wParam) {
    for (const Command &command : commands) {
        if (command.id == LOWORD(wParam) && command.notice == HIWORD(wParam))
            return command.run(stage, dialog);
    }
}

INT_PTR handleFile(Stage &stage, HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
    case WM_INITDIALOG:
        begin(stage, dialog);
        break;
    case WM_DESTROY:
        end(stage, dialog);
        break;
    case WM_COMMAND:
        runCommand(stage, dialog, wParam);
        break;
    case stageStatusMessage:
        showStatus(stage, dialog);
        break;
    case fileRefreshMessage:
        showFile(stage, dialog);
        break;
    case stageAddedMessage:
        if (stage.getPath().empty())
            browse(stage, dialog);
        break;
    case responseReadyMessage:
        takeResponse(stage, dialog, reinterpret_cast<const char *>(wParam));
        break;
    }
    return FALSE;
}

} // namespace

INT_PTR CALLBACK fileProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return dialogProcedure<Stage, handleFile>(window, message, wParam, lParam);
}

} // namespace tonvale
