#include "editor/resources/resource.h"
#include "editor/windows/editor_window.h"
#include "host/host_object_ptr.h"
#include "measure/measure_settings.h"
#include "measure/test_tone.h"
#include "tests/workbench/services/test_folder.h"
#include "text/file_names.h"
#include "text/number_text.h"
#include "text/profile.h"
#include "text/wide_text.h"
#include "text/window_text.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tonvale::test {

namespace {

const std::string greek = "αίθουσα.wav";
const std::string japanese = "教会の残響.wav";

using Answer = std::function<void(HWND box)>;
using Answers = std::vector<std::pair<std::string, Answer>>;

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

/// Types a path into the name box, which has the focus, or takes the one on offer; then types over
/// settings, which are the one dialog inside a chooser.
Answer choose(const std::string &path = "",
              const std::vector<std::pair<int, std::string>> &settings = {}, int button = IDOK) {
    return [=](HWND box) {
        if (!path.empty())
            SendMessageW(GetFocus(), EM_SETSEL, 0, -1);
        typeText(path);
        for (const auto &[id, text] : settings) {
            const HWND edit = GetDlgItem(FindWindowExW(box, nullptr, L"#32770", nullptr), id);
            click(edit);
            pressKey(VK_END);
            for (int i = GetWindowTextLengthW(edit); i > 0; --i)
                pressKey(VK_BACK);
            typeText(text);
        }
        click(GetDlgItem(box, button));
    };
}

std::string line(const std::string &path, int flags = 60) {
    return "FILELDR \"" + path + "\" " + std::to_string(flags);
}

/// An editor with a File stage on show, in a folder of its own.
class FileDialog : public testing::Test {
  protected:
    void SetUp() override {
        hostFunctions.get_ini_file = [] { return settings.c_str(); };
        settings = folder.file("ρυθμίσεις.ini");
        measureState = {};
        setCurrentDirectory(pathText(folder.path)); // where the tools' choosers start
        for (const std::string &name : {greek, japanese, std::string("Alpha.WAV")})
            write(name, {0.5, 0.25, 0.125});
    }
    void TearDown() override { setCurrentDirectory(before); }

    void write(const std::string &name, std::vector<double> samples, int rate = 44100) const {
        WaveFormatBlock format;
        const HostObjectPtr<MediaSink> sink(hostFunctions.PCM_Sink_Create(
            folder.file(name).c_str(), &format, sizeof format, 1, rate, 0));
        double *channels[] = {samples.data()};
        sink->WriteDoubles(channels, static_cast<int>(samples.size()), 1, 0, 1);
    }

    void open(const std::string &path) {
        editor.driver.setChain({line(path)});
        editor.open();
        editor.takeNotes();
    }
    /// Clicks one of the stage's buttons, and answers what that brings.
    void press(int button, const Answers &answers) {
        answerBoxes(answers);
        click(editor.inStage(button));
        serve();
    }
    void browse(const Answer &answer) { press(FILE_BROWSE, {{"Open media file:", answer}}); }

    std::string chain() { return editor.chain().at(0); }
    Lines items(int id) const {
        Lines all;
        for (int i = 0; i < SendMessageW(editor.inStage(id), CB_GETCOUNT, 0, 0); ++i)
            all.push_back(comboItemText(editor.inStage(id), i));
        return all;
    }

    static inline std::string settings;
    const std::string before = currentDirectory();
    workbench::TestFolder folder;
    EditorWindow editor{{}, 0, false};
};

} // namespace

TEST_F(FileDialog, ListsTheMediaOfTheFolderAndOpensWhatIsPicked) {
    std::filesystem::create_directory(folder.path / "folder.wav");
    for (const char *name : {".hidden.wav", "notes.txt", "wav", "current.odd"})
        write(name, {1.0, 0.5});
    open(folder.file("current.odd"));
    EXPECT_EQ(editor.stageText(FILE_FOLDER), pathText(folder.path));
    Lines listed = items(FILE_LIST);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (Lines{"Alpha.WAV", "current.odd", greek, japanese}));
    EXPECT_EQ(editor.stageText(FILE_LIST), "current.odd");

    const HWND list = editor.inStage(FILE_LIST);
    SetFocus(list);
    pressKey(VK_END);
    for (int i = 0; i < 3; ++i, pressKey(VK_UP)) {
        serve();
        EXPECT_EQ(chain(), line(folder.file(editor.stageText(FILE_LIST))));
        EXPECT_NE(editor.stageText(FILE_STATUS), "<no file loaded>");
    }
    EXPECT_EQ(itemOn(list), 0);
    EXPECT_EQ(editor.plugin.impulseLength, 3);
    EXPECT_EQ(editor.stageText(FILE_STATUS),
              "Source: 44100Hz 1ch 0.0s\r\nOutput: 44100Hz 1ch 0.0s");
}

TEST_F(FileDialog, KeepsItsChoicesInTheFlags) {
    open(folder.file(greek));
    EXPECT_EQ(editor.stageText(FILE_GAIN), "Normal");
    EXPECT_EQ(items(FILE_OFFSET).size(), 128u);
    click(editor.inStage(FILE_MONO));
    EXPECT_EQ(chain(), line(folder.file(greek), 61));
    editor.takeNotes();
    SetFocus(editor.inStage(FILE_GAIN));
    for (const int mode : {0x38, 0x1c, 0x18, 0x0c, 0x08, 0x04, 0x00, 0x06, 0x02}) {
        pressKey(VK_DOWN);
        serve();
        EXPECT_EQ(chain(), line(folder.file(greek), mode + 1));
        EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});
    }
    EXPECT_EQ(itemOn(editor.inStage(FILE_GAIN)), items(FILE_GAIN).size() - 1);
    SetFocus(editor.inStage(FILE_OFFSET));
    pressKey(VK_END);
    serve();
    EXPECT_EQ(chain(), line(folder.file(greek), 127 * 256 + 3));
    EXPECT_EQ(editor.plugin.impulse.getNumChannels(), 128);
}

TEST_F(FileDialog, BrowsesFromTheLastFolderOnAndKeepsAllWhereThatIsCancelled) {
    open("");
    writeProfileText(settings, "tonvale", "lastdir", pathText(folder.path));
    browse(choose(greek, {}, IDCANCEL));
    EXPECT_EQ(chain(), line(""));
    EXPECT_TRUE(editor.takeNotes().empty());
    browse(choose(greek));
    EXPECT_EQ(chain(), line(folder.file(greek)));
    EXPECT_EQ(editor.stageText(FILE_LIST), greek);
    EXPECT_EQ(editor.takeNotes(), std::vector{stateChanged});

    std::filesystem::create_directory(folder.path / filePath("ηχώ"));
    const std::string deeper = "ηχώ\\" + japanese;
    write(deeper, {1.0, 1.0});
    browse(choose(folder.file(deeper)));
    EXPECT_EQ(chain(), line(folder.file(deeper)));
    EXPECT_EQ(editor.plugin.impulseLength, 2);
    EXPECT_EQ(items(FILE_LIST), Lines{japanese});
    EXPECT_EQ(readProfileText(settings, "tonvale", "lastdir"), folder.file("ηχώ"));

    const auto closeAndChoose = [&](HWND box) {
        editor.driver.setChain({"NORM"});
        editor.close();
        choose(folder.file(greek))(box);
    };
    browse(closeAndChoose);
    EXPECT_TRUE(chain().starts_with("NORM ")) << "the stage went while its chooser was open";
}

TEST_F(FileDialog, AsksForTheFileOfAStageThatTheUserAdded) {
    editor.open();
    later(300, [&] {
        answerBoxes({{"Open media file:", choose(folder.file(japanese))}});
        // The menu is sorted: Channel Tool, Echo Generator, File.
        for (const WORD key : {VK_DOWN, VK_DOWN, VK_DOWN, VK_RETURN})
            pressKey(key);
    });
    click(editor.control(MAIN_ADD));
    serve();
    EXPECT_EQ(chain(), line(folder.file(japanese)));
    EXPECT_EQ(editor.plugin.impulseLength, 3);
}

TEST_F(FileDialog, WritesTheTestToneThatItsChooserDescribes) {
    open("");
    for (const auto &[name, depth, button] :
         {std::tuple("a", "20", IDCANCEL), std::tuple("τόνος", "24", IDOK)}) {
        press(FILE_TONE,
              {{"Save test tone as:",
                choose(name, {{TONE_LENGTH, "0.2"}, {TONE_RATE, "8000"}, {TONE_BIT_DEPTH, depth}},
                       button)}});
        EXPECT_EQ(measureState.tone.toneLengthSeconds, 0.2) << "also typed before a cancel";
        EXPECT_EQ(measureState.tone.toneBitDepth, button == IDOK ? 24 : 32);
        EXPECT_EQ(currentDirectory(), pathText(folder.path));
    }
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
    writeTestTone(folder.file("tone.wav").c_str(), {0.5, 44100.0, 64});
    press(FILE_DECONVOLVE,
          {{"Open file to be deconvolved:", choose("tone.wav")},
           {"Open test tone used:", choose("tone.wav")},
           {"Save impulse response as:", choose("応答.wav", {{DECONVOLVE_NOISE_FLOOR, "-60"}})}});
    const std::string response = line(folder.file("応答.wav"));
    EXPECT_EQ(measureState.deconvolver.noiseFloorDb, -60);
    EXPECT_EQ(chain(), response);
    EXPECT_EQ(editor.stageText(FILE_LIST), "応答.wav");
    ASSERT_GE(editor.plugin.impulseLength, 1);
    EXPECT_NEAR(editor.plugin.impulse.getChannel(0)[0], 1.0, 0.05);

    // The tone is offered again.
    write("slow.wav", {1.0, 1.0}, 22050);
    std::string told;
    const auto readBox = [&](HWND box) {
        told = controlText(box, 0xFFFF);
        click(GetDlgItem(box, IDOK));
    };
    press(FILE_DECONVOLVE, {{"Open file to be deconvolved:", choose("slow.wav")},
                            {"Open test tone used:", choose()},
                            {"Save impulse response as:", choose("other.wav")},
                            {"Tonvale Error", readBox}});
    EXPECT_EQ(told, "Sample rate mismatch between file to be deconvolved and test tone");
    EXPECT_EQ(chain(), response);
}

TEST_F(FileDialog, GivesTheDeconvolversOfTwoEditorsTheirOwnFiles) {
    open(folder.file(greek));
    EditorWindow other({chain()}, 1);
    write("half.wav", {0.5});
    write("whole.wav", {1.0});
    HWND waiting = nullptr;
    const auto deconvolveInTheOther = [&](HWND box) {
        waiting = box;
        click(other.inStage(FILE_DECONVOLVE));
    };
    whenTold(audioMasterAutomate, [&] { SetForegroundWindow(waiting); });
    press(FILE_DECONVOLVE, {{"Open file to be deconvolved:", choose("half.wav")},
                            {"Open test tone used:", deconvolveInTheOther},
                            {"Open file to be deconvolved:", choose("whole.wav")},
                            {"Open test tone used:", choose("whole.wav")},
                            {"Save impulse response as:", choose("same.wav")},
                            {"Open test tone used:", choose("whole.wav")},
                            {"Save impulse response as:", choose("halved.wav")}});
    EXPECT_EQ(other.chain().at(0), line(folder.file("same.wav")));
    EXPECT_EQ(chain(), line(folder.file("halved.wav")));
    EXPECT_NEAR(editor.plugin.impulse.getChannel(0)[0], 0.5, 0.01);
    EXPECT_NEAR(other.plugin.impulse.getChannel(0)[0], 1.0, 0.01);
}

} // namespace tonvale::test
