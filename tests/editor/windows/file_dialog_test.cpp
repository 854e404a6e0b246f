#include "editor/resources/resource.h"
#include "editor/windows/editor_window.h"
#include "host/host_functions.h"
#include "host/host_object_ptr.h"
#include "measure/measure_settings.h"
#include "measure/test_tone.h"
#include "tests/workbench/services/test_folder.h"
#include "text/file_names.h"
#include "text/file_path.h"
#include "text/number_text.h"
#include "text/profile.h"
#include "text/wide_text.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace tonvale::test {

namespace {

using Names = std::vector<std::string>;

const std::string greek = "αίθουσα.wav";
const std::string japanese = "教会の残響.wav";

/// The chooser's name box has the focus.
void typeName(const std::string &path) {
    SendMessageW(GetFocus(), EM_SETSEL, 0, -1);
    typeText(path);
}

/// Types over what a box in a chooser says.
void typeSetting(HWND edit, const std::string &text) {
    click(edit);
    pressKey(VK_END);
    for (int i = GetWindowTextLengthW(edit); i > 0; --i)
        pressKey(VK_BACK);
    typeText(text);
}

void leave(HWND box, int button) {
    click(GetDlgItem(box, button));
}

using Answer = std::function<void(HWND box)>;
using Answers = std::vector<std::pair<std::string, Answer>>;

/// Types a path, or takes the one on offer.
Answer choose(const std::string &path = "") {
    return [=](HWND box) {
        if (!path.empty())
            typeName(path);
        leave(box, IDOK);
    };
}

/// What the user does to choosers and message boxes, by their titles, once each of them takes keys;
/// their own loops serve it.
void answerBoxes(const Answers &answers) {
    later(50, [=] {
        const auto &[title, answer] = answers[0];
        const HWND box = FindWindowW(L"#32770", wideText(title).c_str());
        const bool isThere = IsWindowVisible(box) && IsChild(box, GetFocus());
        const auto next = answers.begin() + (isThere ? 1 : 0);
        if (next != answers.end())
            answerBoxes({next, answers.end()});
        if (isThere)
            answer(box);
    });
}

/// The settings are the one dialog inside a chooser.
HWND settingIn(HWND chooser, int id) {
    return GetDlgItem(FindWindowExW(chooser, nullptr, L"#32770", nullptr), id);
}

/// An editor with a File stage on show, in a folder of its own.
class FileDialog : public testing::Test {
  protected:
    void SetUp() override {
        hostFunctions.get_ini_file = [] { return settings.c_str(); };
        settings = folder.file("ρυθμίσεις.ini");
        measureState = {};
        setCurrentDirectory(pathText(folder.path)); // where the tools' choosers start
        for (const std::string &name : Names{greek, japanese, "Alpha.WAV"})
            writeWave(folder.file(name), {0.5, 0.25, 0.125});
    }

    void TearDown() override { setCurrentDirectory(before); }

    static void writeWave(const std::string &path, std::vector<double> samples, int rate = 44100) {
        WaveFormatBlock format;
        const HostObjectPtr<MediaSink> sink(
            hostFunctions.PCM_Sink_Create(path.c_str(), &format, sizeof format, 1, rate, 0));
        double *channels[] = {samples.data()};
        sink->WriteDoubles(channels, static_cast<int>(samples.size()), 1, 0, 1);
    }

    void open(const std::string &path) {
        editor.driver.setChain({"FILELDR \"" + path + "\" 60"});
        editor.open();
        editor.takeNotes();
    }

    HWND inStage(int id) const { return GetDlgItem(editor.stage(), id); }
    std::string stageText(int id) const { return controlText(editor.stage(), id); }
    std::string chain() { return editor.chain().at(0); }
    static std::string line(const std::string &path, int flags = 60) {
        return "FILELDR \"" + path + "\" " + std::to_string(flags);
    }
    Names items(int id) const {
        Names all;
        for (int i = 0; i < SendMessageW(inStage(id), CB_GETCOUNT, 0, 0); ++i)
            all.push_back(comboItemText(inStage(id), i));
        return all;
    }
    static void chooseMedia(const std::string &path) {
        answerBoxes({{"Open media file:", choose(path)}});
    }
    int32_t responseLength() { return editor.plugin.impulse.getLength(); }

    static inline std::string settings;
    const std::string before = currentDirectory();
    workbench::TestFolder folder;
    EditorWindow editor{0, false};
};

} // namespace

TEST_F(FileDialog, ListsTheMediaOfTheFolderAndOpensWhatIsPicked) {
    std::filesystem::create_directory(folder.path / "folder.wav");
    for (const char *name : {".hidden.wav", "notes.txt", "wav"})
        writeWave(folder.file(name), {1.0});
    writeWave(folder.file("current.odd"), {1.0, 0.5});
    open(folder.file("current.odd"));
    EXPECT_EQ(stageText(FILE_FOLDER), pathText(folder.path));
    Names listed = items(FILE_LIST);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (Names{"Alpha.WAV", "current.odd", greek, japanese}));
    EXPECT_EQ(stageText(FILE_LIST), "current.odd");

    for (const auto &name : {japanese, greek}) {
        const auto item =
            SendMessageW(inStage(FILE_LIST), CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                         reinterpret_cast<LPARAM>(wideText(name).c_str()));
        SetFocus(inStage(FILE_LIST));
        while (SendMessageW(inStage(FILE_LIST), CB_GETCURSEL, 0, 0) != item)
            pressKey(SendMessageW(inStage(FILE_LIST), CB_GETCURSEL, 0, 0) < item ? VK_DOWN : VK_UP);
        serve();
        EXPECT_EQ(chain(), line(folder.file(name)));
        EXPECT_EQ(responseLength(), 3);
        EXPECT_EQ(stageText(FILE_STATUS), "Source: 44100Hz 1ch 0.0s\r\nOutput: 44100Hz 1ch 0.0s");
    }
}

TEST_F(FileDialog, KeepsItsChoicesInTheFlags) {
    open(folder.file(greek));
    EXPECT_EQ(stageText(FILE_GAIN), "Normal");
    EXPECT_EQ(items(FILE_GAIN).size(), 10u);
    EXPECT_EQ(items(FILE_OFFSET).size(), 128u);
    click(inStage(FILE_MONO));
    EXPECT_EQ(chain(), line(folder.file(greek), 61));
    constexpr int modes[] = {0x38, 0x1c, 0x18, 0x0c, 0x08, 0x04, 0x00, 0x06, 0x02};
    SetFocus(inStage(FILE_GAIN));
    for (const int mode : modes) {
        editor.takeNotes();
        pressKey(VK_DOWN);
        serve();
        EXPECT_EQ(chain(), line(folder.file(greek), mode + 1));
        EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    }
    SetFocus(inStage(FILE_OFFSET));
    pressKey(VK_END);
    serve();
    EXPECT_EQ(chain(), line(folder.file(greek), 127 * 256 + 3));
    EXPECT_EQ(editor.plugin.impulse.getNumChannels(), 128);
}

TEST_F(FileDialog, BrowsesFromTheLastFolderOnAndKeepsAllWhereThatIsCancelled) {
    open("");
    writeProfileText(settings, "tonvale", "lastdir", pathText(folder.path));
    answerBoxes({{"Open media file:", [](HWND box) { leave(box, IDCANCEL); }}});
    click(inStage(FILE_BROWSE));
    EXPECT_EQ(chain(), line(""));
    EXPECT_EQ(editor.takeNotes(), std::vector<HostNote>{});

    std::filesystem::create_directory(folder.path / filePath("ηχώ"));
    const std::string deeper = folder.file("ηχώ\\" + japanese);
    writeWave(deeper, {1.0, 1.0});
    chooseMedia(greek);
    click(inStage(FILE_BROWSE));
    serve();
    EXPECT_EQ(chain(), line(folder.file(greek)));
    EXPECT_EQ(stageText(FILE_LIST), greek);
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    chooseMedia(deeper);
    click(inStage(FILE_BROWSE));
    serve();
    EXPECT_EQ(chain(), line(deeper));
    EXPECT_EQ(responseLength(), 2);
    EXPECT_EQ(items(FILE_LIST), Names{japanese});
    EXPECT_EQ(readProfileText(settings, "tonvale", "lastdir"), folder.file("ηχώ"));
}

TEST_F(FileDialog, AsksForTheFileOfAStageThatTheUserAdded) {
    editor.open();
    later(300, [&] {
        chooseMedia(folder.file(japanese));
        // The menu is sorted: Channel Tool, Echo Generator, File.
        for (const WORD key : {VK_DOWN, VK_DOWN, VK_DOWN, VK_RETURN})
            pressKey(key);
    });
    click(editor.control(MAIN_ADD));
    serve();
    EXPECT_EQ(chain(), line(folder.file(japanese)));
    EXPECT_EQ(responseLength(), 3);
}

TEST_F(FileDialog, MayGoWhileItsChooserIsOpen) {
    open(folder.file(greek));
    const auto closeAndChoose = [&](HWND box) {
        editor.driver.setChain({"NORM"});
        editor.close();
        choose(folder.file(japanese))(box);
    };
    answerBoxes({{"Open media file:", closeAndChoose}});
    click(inStage(FILE_BROWSE));
    EXPECT_EQ(editor.chain().size(), 1u);
    EXPECT_TRUE(chain().starts_with("NORM "));
    EXPECT_TRUE(editor.open());
}

TEST_F(FileDialog, WritesTheTestToneThatItsChooserDescribes) {
    open("");
    const auto tone = [&](const std::string &name, const char *depth, int button) {
        const auto describe = [=](HWND box) {
            typeName(name);
            typeSetting(settingIn(box, TONE_LENGTH), "0.2");
            typeSetting(settingIn(box, TONE_RATE), "8000");
            typeSetting(settingIn(box, TONE_BIT_DEPTH), depth);
            leave(box, button);
        };
        answerBoxes({{"Save test tone as:", describe}});
        click(inStage(FILE_TONE));
    };
    tone("a", "20", IDCANCEL);
    EXPECT_EQ(measureState.tone.toneLengthSeconds, 0.2) << "typed before the cancel";
    EXPECT_EQ(measureState.tone.toneBitDepth, 32);
    tone("τόνος", "24", IDOK);
    EXPECT_EQ(currentDirectory(), pathText(folder.path));
    const std::string path = folder.file("τόνος.wav");
    EXPECT_EQ(compareIgnoringCase(measureState.toneFilePath, path.c_str()), 0);
    const HostObjectPtr<MediaSource> source(hostFunctions.PCM_Source_CreateFromFile(path.c_str()));
    ASSERT_TRUE(source);
    EXPECT_EQ(source->GetSampleRate(), 8000.0);
    EXPECT_EQ(source->GetLength(), 0.2);
    EXPECT_NEAR(static_cast<double>(std::filesystem::file_size(filePath(path))), 1600 * 3, 100);
    EXPECT_FALSE(std::filesystem::exists(folder.path / "a.wav"));
}

TEST_F(FileDialog, LoadsWhatIsDeconvolved) {
    open(folder.file(greek));
    const std::string tone = folder.file("tone.wav");
    writeTestTone(tone.c_str(), {0.5, 44100.0, 64});
    const std::string response = folder.file("応答.wav");
    answerBoxes({{"Open file to be deconvolved:", choose("tone.wav")},
                 {"Open test tone used:", choose("tone.wav")},
                 {"Save impulse response as:", [](HWND box) {
                      typeName("応答.wav");
                      typeSetting(settingIn(box, DECONVOLVE_NOISE_FLOOR), "-60");
                      leave(box, IDOK);
                  }}});
    click(inStage(FILE_DECONVOLVE));
    serve();
    EXPECT_EQ(measureState.deconvolver.noiseFloorDb, -60);
    EXPECT_EQ(chain(), line(response));
    EXPECT_EQ(stageText(FILE_LIST), "応答.wav");
    ASSERT_GE(responseLength(), 1);
    EXPECT_NEAR(editor.plugin.impulse.getChannel(0)[0], 1.0, 0.05);

    // The tone is offered again.
    writeWave(folder.file("slow.wav"), {1.0, 1.0}, 22050);
    std::string told;
    answerBoxes({{"Open file to be deconvolved:", choose("slow.wav")},
                 {"Open test tone used:", choose()},
                 {"Save impulse response as:", choose("other.wav")},
                 {"Tonvale Error", [&](HWND box) {
                      told = controlText(box, 0xFFFF);
                      leave(box, IDOK);
                  }}});
    click(inStage(FILE_DECONVOLVE));
    EXPECT_EQ(told, "Sample rate mismatch between file to be deconvolved and test tone");
    EXPECT_EQ(chain(), line(response));
}

TEST_F(FileDialog, GivesTheDeconvolversOfTwoEditorsTheirOwnFiles) {
    open(folder.file(greek));
    EditorWindow other(1, false);
    other.driver.setChain({chain()});
    other.open();
    for (const auto &[name, sample] : {std::pair("half.wav", 0.5), std::pair("whole.wav", 1.0)})
        writeWave(folder.file(name), {sample});
    HWND waiting = nullptr;
    answerBoxes({{"Open file to be deconvolved:", choose("half.wav")},
                 {"Open test tone used:",
                  [&](HWND box) {
                      waiting = box;
                      click(GetDlgItem(other.stage(), FILE_DECONVOLVE));
                  }},
                 {"Open file to be deconvolved:", choose("whole.wav")},
                 {"Open test tone used:", choose("whole.wav")},
                 {"Save impulse response as:", choose("same.wav")},
                 {"Open test tone used:", choose("whole.wav")},
                 {"Save impulse response as:", choose("halved.wav")}});
    whenTold(audioMasterAutomate, [&] { SetForegroundWindow(waiting); });
    click(inStage(FILE_DECONVOLVE));
    serve();
    EXPECT_EQ(other.chain().at(0), line(folder.file("same.wav")));
    EXPECT_EQ(chain(), line(folder.file("halved.wav")));
    EXPECT_NEAR(editor.plugin.impulse.getChannel(0)[0], 0.5, 0.01);
    EXPECT_NEAR(other.plugin.impulse.getChannel(0)[0], 1.0, 0.01);
}

} // namespace tonvale::test
