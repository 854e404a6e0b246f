#include "editor/measure_dialogs.h"

#include "chain/window_messages.h"
#include "core/module_state.h"
#include "editor/resources/resource.h"
#include "host/host_functions.h"
#include "host/localized_text.h"
#include "measure/deconvolver.h"
#include "measure/measure_settings.h"
#include "measure/test_tone.h"
#include "text/file_chooser.h"
#include "text/file_names.h"
#include "text/number_text.h"
#include "text/window_text.h"

#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace tonvale {

namespace {

constexpr const char *section = "tonvale";
constexpr int32_t entrySize = 512;

constexpr DWORD openFlags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_EXPLORER;
constexpr DWORD saveFlags = OFN_OVERWRITEPROMPT | OFN_HIDEREADONLY | OFN_NOCHANGEDIR |
                            OFN_ENABLEHOOK | OFN_ENABLETEMPLATE | OFN_EXPLORER | OFN_ENABLESIZING;

/// What a chooser left the process in is put back at the end.
class KeptDirectory {
  public:
    const std::string path = currentDirectory();

    KeptDirectory() = default;
    ~KeptDirectory() {
        try {
            setCurrentDirectory(path);
        } catch (const std::exception &) {
            // Without memory the directory stays the chooser's.
        }
    }
    KeptDirectory(const KeptDirectory &) = delete;
    KeptDirectory &operator=(const KeptDirectory &) = delete;
};

std::string translated(const char *text) {
    return localizedText(text, section, 0);
}

void tellOutcome(HWND owner, MeasureOutcome outcome) {
    if (const char *text = measureMessage(outcome))
        showMessage(IsWindow(owner) ? owner : nullptr, translated(text),
                    translated(measureErrorTitle), MB_OK);
}

// The settings inside a chooser.

/// An edit box and the setting behind it.
struct SettingEntry {
    int id;
    void (*show)(TextWriter &text);
    void (*accept)(const char *entry);
};

constexpr SettingEntry toneEntries[] = {
    {TONE_RATE, [](TextWriter &text) { text.addFixed(measureState.tone.toneSampleRate, 1); },
     [](const char *entry) { acceptMeasureNumber(entry, measureState.tone.toneSampleRate); }},
    {TONE_LENGTH, [](TextWriter &text) { text.addFixed(measureState.tone.toneLengthSeconds, 1); },
     [](const char *entry) { acceptMeasureNumber(entry, measureState.tone.toneLengthSeconds); }},
    {TONE_BIT_DEPTH, [](TextWriter &text) { text.addInteger(measureState.tone.toneBitDepth); },
     [](const char *entry) { acceptBitDepth(entry, measureState.tone.toneBitDepth); }},
};

constexpr SettingEntry deconvolveEntries[] = {
    {DECONVOLVE_NOISE_FLOOR,
     [](TextWriter &text) { text.addInteger(measureState.deconvolver.noiseFloorDb); },
     [](const char *entry) { acceptNoiseFloor(entry, measureState.deconvolver.noiseFloorDb); }},
    {DECONVOLVE_BIT_DEPTH,
     [](TextWriter &text) { text.addInteger(measureState.deconvolver.deconvolveBitDepth); },
     [](const char *entry) { acceptBitDepth(entry, measureState.deconvolver.deconvolveBitDepth); }},
};

template <size_t count>
void handleSettings(const SettingEntry (&entries)[count], const char *dialogSection, HWND dialog,
                    UINT message) {
    if (message == WM_INITDIALOG) {
        if (hostFunctions.__localizeInitializeDialog)
            hostFunctions.__localizeInitializeDialog(dialog, dialogSection);
        for (const SettingEntry &entry : entries) {
            char text[entrySize];
            TextWriter writer(text, entrySize);
            entry.show(writer);
            setControlText(dialog, entry.id, text);
        }
    }
    // What was typed stays whichever way the chooser is left.
    if (message == WM_DESTROY) {
        for (const SettingEntry &entry : entries)
            entry.accept(controlText(dialog, entry.id).c_str());
    }
}

/// The hook of a chooser that has `entries` below it; the chooser goes on whatever happens here.
template <const auto &entries, const char *const &dialogSection>
UINT_PTR CALLBACK settingsHook(HWND dialog, UINT message, WPARAM, LPARAM) {
    try {
        handleSettings(entries, dialogSection, dialog, message);
    } catch (const std::exception &) {
        // The entries of which the memory gave out keep their settings.
    }
    return 0;
}

constexpr const char *toneSection = "tonvale_DLG_185";
constexpr const char *deconvolveSection = "tonvale_DLG_186";

// The choosers.

// What one chooses is remembered for the next time, and answered: another editor's choosers may be
// open at once.

using Path = std::optional<std::string>;

/// Offers the path that `remembered` holds. One that it has no room for isn't remembered.
template <size_t size>
Path choose(Path (*show)(const FileChooser &), FileChooser chooser, char (&remembered)[size]) {
    chooser.path = remembered;
    chooser.longestPath = size - 1;
    Path chosen = show(chooser);
    if (chosen && chosen->size() < size)
        TextWriter(remembered, size).add(chosen->c_str());
    return chosen;
}

/// The filter list of the two choosers that write a file.
std::string waveFilters() {
    const auto add = [](std::string &list, const char *label, const char *pattern) {
        list += translated(label) + '\0' + pattern + '\0';
    };
    std::string list;
    add(list, "WAV files (*.wav)", "*.wav");
    add(list, "All files (*.*)", "*.*");
    return list;
}

template <size_t size>
Path chooseOutput(HWND owner, const std::string &folder, const char *title, int templateId,
                  LPOFNHOOKPROC hook, char (&remembered)[size]) {
    const std::string filters = waveFilters();
    FileChooser chooser;
    chooser.owner = owner;
    chooser.title = translated(title);
    chooser.filters = filters.c_str();
    chooser.folder = folder;
    chooser.extension = "WAV";
    chooser.flags = saveFlags;
    chooser.module = ownModule();
    chooser.templateId = templateId;
    chooser.hook = hook;
    return choose(chooseFileToSave, std::move(chooser), remembered);
}

template <size_t size>
Path chooseInput(HWND owner, const std::string &folder, const char *title,
                 char (&remembered)[size]) {
    FileChooser chooser;
    chooser.owner = owner;
    chooser.title = translated(title);
    if (hostFunctions.plugin_getFilterList)
        chooser.filters = hostFunctions.plugin_getFilterList();
    chooser.folder = folder;
    chooser.flags = openFlags;
    return choose(chooseFileToOpen, std::move(chooser), remembered);
}

/// What a measurement is made of.
struct Measurement {
    Path recording, tone, response;
};

/// Without a response where a chooser was cancelled.
Measurement chooseMeasurement(HWND owner) {
    const KeptDirectory kept;
    MeasureState &state = measureState;
    Measurement chosen;
    chosen.recording =
        chooseInput(owner, kept.path, "Open file to be deconvolved:", state.recordingPath);
    if (chosen.recording)
        chosen.tone = chooseInput(owner, kept.path, "Open test tone used:", state.toneFilePath);
    if (chosen.tone)
        chosen.response = chooseOutput(
            owner, kept.path, "Save impulse response as:", DIALOG_DECONVOLVE,
            settingsHook<deconvolveEntries, deconvolveSection>, state.impulseOutputPath);
    return chosen;
}

Path chooseToneFile(HWND owner) {
    const KeptDirectory kept;
    return chooseOutput(owner, kept.path, "Save test tone as:", DIALOG_TONE,
                        settingsHook<toneEntries, toneSection>, measureState.toneFilePath);
}

} // namespace

void generateTestTone(HWND owner) {
    if (!hostFunctions.PCM_Sink_Create)
        return;
    if (const Path file = chooseToneFile(owner))
        tellOutcome(owner, writeTestTone(file->c_str(), measureState.tone));
}

void deconvolveRecording(HWND owner) {
    if (!hostFunctions.PCM_Sink_Create)
        return;
    const auto [recording, tone, response] = chooseMeasurement(owner);
    if (!response)
        return;
    const MeasureOutcome outcome =
        deconvolve(recording->c_str(), tone->c_str(), response->c_str(), measureState.deconvolver);
    tellOutcome(owner, outcome);
    if (outcome == MeasureOutcome::done)
        SendMessageW(owner, responseReadyMessage, reinterpret_cast<WPARAM>(response->c_str()), 0);
}

} // namespace tonvale
