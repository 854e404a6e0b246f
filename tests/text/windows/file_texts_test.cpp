#include "tests/workbench/services/test_folder.h"
#include "text/directory_scan.h"
#include "text/file_chooser.h"
#include "text/file_names.h"
#include "text/file_path.h"
#include "text/profile.h"
#include "text/wide_text.h"
#include "text/window_text.h"

#include <cstdlib>
#include <dlgs.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace tonvale {
namespace {

class FileTexts : public testing::Test {
  protected:
    workbench::TestFolder folder;
    const std::string name = "Ωμέγα 日本語";
    const std::string place = folder.file(name);
};

std::string bytesOf(const std::string &file) {
    std::ifstream in(filePath(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// What the user does in a chooser, from its hook.
struct Typing {
    std::string name; ///< empty: cancels
    std::string title{}, offered{}, filter{};
};

UINT_PTR CALLBACK typeName(HWND child, UINT message, WPARAM, LPARAM parameter) {
    static Typing *typing = nullptr;
    if (message == WM_INITDIALOG)
        typing =
            reinterpret_cast<Typing *>(reinterpret_cast<OPENFILENAMEW *>(parameter)->lCustData);
    const auto *notice = reinterpret_cast<NMHDR *>(parameter);
    if (message != WM_NOTIFY || notice->code != CDN_INITDONE)
        return 0;
    const HWND dialog = GetParent(child);
    typing->title = windowText(dialog);
    typing->offered = controlText(dialog, cmb13);
    typing->filter = comboItemText(GetDlgItem(dialog, cmb1), 1);
    setControlText(dialog, cmb13, typing->name);
    PostMessageW(dialog, WM_COMMAND, typing->name.empty() ? IDCANCEL : IDOK, 0);
    return 0;
}

TEST_F(FileTexts, GoToAndFromChoosers) {
    Typing typing{place};
    FileChooser chooser;
    chooser.title = "Save " + name;
    chooser.filters = "Klänge\0*.wav\0日本\0*.日本\0";
    chooser.path = folder.file("offered.wav");
    chooser.extension = "wav";
    chooser.flags = OFN_ENABLEHOOK | OFN_EXPLORER | OFN_NOCHANGEDIR;
    chooser.hook = typeName;
    chooser.hookParameter = reinterpret_cast<LPARAM>(&typing);
    EXPECT_EQ(chooseFileToSave(chooser), place + ".wav");
    EXPECT_EQ(typing.title, chooser.title);
    EXPECT_EQ(typing.offered, "offered.wav");
    EXPECT_EQ(typing.filter, "日本");

    const size_t longest = wideText(place + ".wav").size();
    chooser.longestPath = longest - 1;
    EXPECT_EQ(chooseFileToSave(chooser), std::nullopt) << "longer by its extension";
    chooser.longestPath = longest;
    EXPECT_EQ(chooseFileToSave(chooser), place + ".wav") << "in bytes it is longer";

    std::ofstream(filePath(place)) << "x";
    chooser.path.clear();
    chooser.extension.clear();
    chooser.folder = folder.file("");
    chooser.flags |= OFN_FILEMUSTEXIST;
    typing.name = name;
    EXPECT_EQ(chooseFileToOpen(chooser), place);
    typing.name.clear();
    EXPECT_EQ(chooseFileToOpen(chooser), std::nullopt);
}

TEST_F(FileTexts, StandInProfilesAsTheBytesThatTheyAre) {
    const std::string file = folder.file("日本.ini");
    writeProfileText(file, "Ω", "other", "1");
    writeProfileText(file, "Ω", "lastdir", place);
    writeProfileText(file, "Ω", "other", std::string(5000, 'x'));
    EXPECT_EQ(readProfileText(file, "Ω", "lastdir"), place);
    EXPECT_EQ(readProfileText(file, "Ω", "none"), "");
    EXPECT_EQ(readProfileText(file, "Ω", "other"), std::string(1023, 'x'));
    writeProfileText(file, "Ω", "other", "");
    EXPECT_EQ(bytesOf(file), "[Ω]\r\nother=\r\nlastdir=" + place + "\r\n");

    std::ofstream(filePath(folder.file("wide.ini")), std::ios::binary) << "\xff\xfe";
    writeProfileText(folder.file("wide.ini"), "Ω", "lastdir", place);
    EXPECT_EQ(readProfileText(folder.file("wide.ini"), "Ω", "lastdir"), place);
    EXPECT_NE(bytesOf(folder.file("wide.ini")).find(std::string("t\0d", 3)), std::string::npos);
}

TEST_F(FileTexts, AreFoundInProfilesAndPutThereAsTheSystemDoes) {
    const char *const profiles[] = {
        "",
        "[a]",
        "[a]\nkey=1",
        "key=0\r\n[A]\r\n KEY = \" 1 \" \r\nkey=2\r\n\r\n[b]\r\nkey=3",
        "[b]\nkey=3\n\n[ a ]\n;key=4\nkey2=5\n\n\n[c]\nkey=6\n",
        "[b]\n[a\nkey='x\n[a]\nkey=9\n",
        "[a]\n=1\nkey\nkey =\n",
    };
    const std::string own = folder.file("own.ini"), systems = folder.file("systems.ini");
    const auto systemReads = [](const std::string &file) {
        char text[100];
        GetPrivateProfileStringA("a", "key", "", text, sizeof text, file.c_str());
        return std::string(text);
    };
    for (const std::string profile : profiles) {
        for (const std::string &file : {own, systems})
            std::ofstream(file, std::ios::binary) << profile;
        EXPECT_EQ(readProfileText(own, "a", "key"), systemReads(systems)) << profile;
        writeProfileText(own, "a", "key", "new");
        WritePrivateProfileStringA("a", "key", "new", systems.c_str());
        EXPECT_EQ(readProfileText(systems, "a", "key"), "new") << profile;
        EXPECT_EQ(systemReads(own), "new") << profile;
        for (const char *section : {"b", "c"})
            EXPECT_EQ(readProfileText(own, section, "key"),
                      readProfileText(systems, section, "key"))
                << profile;
    }
}

TEST_F(FileTexts, ListAFolderWhoseNameIsInTheCodePage) {
    const std::string cafe = folder.file("") + "caf\xe9";
    ASSERT_TRUE(CreateDirectoryA(cafe.c_str(), nullptr));
    std::ofstream(folder.path / L"café" / L"größe.wav") << "x";
    DirectoryScan scan;
    std::string names;
    for (int end = scan.first(cafe); !end; end = scan.next())
        names += scan.name() + (scan.isDirectory() ? "/" : " ");
    EXPECT_EQ(names, "./../größe.wav ");
}

TEST_F(FileTexts, ListALongFolderOfTheNetwork) {
    // Wine keeps what a server shares on its drive.
    const char *prefix = std::getenv("WINEPREFIX");
    if (!prefix)
        GTEST_SKIP() << "only Wine can play the server";
    const std::string share = "tonvale-" + pathText(folder.path.filename());
    const std::filesystem::path server =
        filePath("Z:" + std::string(prefix) + "/dosdevices/unc/" + share);
    const std::string below = "/share/" + std::string(200, 'x') + "/" + std::string(100, 'y');
    std::error_code error;
    std::filesystem::create_directories(filePath(pathText(server) + below), error);
    ASSERT_FALSE(error) << error.message();
    std::ofstream(filePath(pathText(server) + below + "/" + name)) << "x";
    DirectoryScan scan;
    ASSERT_EQ(scan.first("\\\\" + share + below), 0);
    while (scan.name() != name && !scan.next()) {
    }
    EXPECT_EQ(scan.name(), name);
    scan.close();
    std::filesystem::remove_all(server, error);
}

} // namespace
} // namespace tonvale
