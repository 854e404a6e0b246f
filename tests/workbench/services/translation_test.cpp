#include "workbench/services/translation.h"

#include "test_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace tonvale::workbench::test {

namespace {

namespace fs = std::filesystem;

std::string readText(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// What stands in quotes wherever `pattern` finds it in the files of a folder, as the compiler
/// reads it.
std::set<std::string> quotedTexts(const fs::path &folder, const std::string &suffix,
                                  const std::string &pattern) {
    std::set<std::string> out;
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().string();
        if (!name.ends_with(suffix))
            continue;
        const std::string text = readText(entry.path());
        const std::regex expression(pattern);
        for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
            out.insert(
                std::regex_replace(std::regex_replace((*at)[1].str(), std::regex("\\\\r"), "\r"),
                                   std::regex("\\\\n"), "\n"));
    }
    out.erase("");
    return out;
}

} // namespace

TEST(Translation, ReadsSectionsAndLeavesOutWhatIsWrong) {
    std::vector<std::string> problems;
    const auto texts = Translation::parse("\xEF\xBB\xBF# to \"x\" = \"y\"\r\n"
                                          "\"early\" = \"no\"\n"
                                          "[tonvale]\r\n"
                                          " \"Wet\"=\"Naß\" \r\n"
                                          "\"a \\\"b\\\" \\\\ \\r\\n\" = \"c\\n\"\n"
                                          "\"%.2fs %d 100%%\" = \"%.2f s, %d %%\"\n"
                                          "\"%d of %s\" = \"%s von %d\"\n"
                                          "\"one\" \"two\"\n"
                                          "\"one\" = \"two\" three\n"
                                          "\"open = \"two\n"
                                          "[tonvale_DLG_101]\n"
                                          "\"Dry\" = \"Trocken\"",
                                          &problems);
    EXPECT_STREQ(texts.find("tonvale", "Wet"), "Naß");
    EXPECT_STREQ(texts.find("tonvale", "a \"b\" \\ \r\n"), "c\n");
    EXPECT_STREQ(texts.find("tonvale", "%.2fs %d 100%%"), "%.2f s, %d %%");
    EXPECT_STREQ(texts.find("tonvale_DLG_101", "Wet"), "Naß") << "from the section behind";
    EXPECT_STREQ(texts.find("tonvale_DLG_101", "Dry"), "Trocken");
    EXPECT_EQ(texts.find("tonvale", "Dry"), nullptr);
    EXPECT_EQ(texts.find("tonvale_modname", "Wet"), nullptr);
    EXPECT_EQ(texts.size(), 4u);
    ASSERT_EQ(problems.size(), 5u);
    EXPECT_EQ(problems[0], "line 2 stands before the first section");
    EXPECT_EQ(problems[1], "line 7 has other % conversions than its original");
}

TEST(Translation, IsChosenByNameOrPathForTheWholeProcess) {
    const TestFolder folder;
    const std::string file = folder.file("Sprache 音.txt");
    std::ofstream(filePath(file)) << "[tonvale]\n\"Wet\" = \"Hall\"\n";
    ASSERT_TRUE(chooseLanguage(file));
    const char *wet = localise("Wet", "tonvale", 0), *dry = "Dry";
    EXPECT_STREQ(wet, "Hall");
    EXPECT_EQ(localise(dry, "tonvale", 0), dry);
    EXPECT_FALSE(chooseLanguage("nosuch"));
    EXPECT_FALSE(chooseLanguage(folder.path.string()));
    EXPECT_STREQ(localise("Wet", "tonvale", 0), "Hall");
    EXPECT_TRUE(chooseLanguage("de"));
    EXPECT_STREQ(localise("Reverse", "tonvale_modname", 0), "Umkehren");
    EXPECT_TRUE(chooseLanguage("en"));
    EXPECT_FALSE(isTranslating());
    EXPECT_STREQ(wet, "Hall") << "what was told is kept";
}

TEST(Translation, IsCompleteInGerman) {
    const fs::path source = TONVALE_SOURCE;
    std::vector<std::string> problems;
    const auto german =
        Translation::parse(readText(source / "workbench/languages/de.txt"), &problems);
    EXPECT_EQ(problems, std::vector<std::string>{});
    const std::string quoted = R"re("((?:[^"\\]|\\.)*)")re";
    struct Place {
        const char *folder, *suffix;
        std::string pattern;
        const char *section;
        size_t atLeast;
    };
    const Place places[] = {
        {"src/editor/resources", ".rc", R"re((?:TEXT|BUTTON|CHECKBOX|GROUPBOX) )re" + quoted,
         "tonvale_DLG_185", 50},
        {"src", ".cpp", R"re(localizedText\(\s*)re" + quoted + R"re(,\s*"tonvale")re", "tonvale",
         3},
        {"src/chain", ".cpp", R"re(\n    \{)re" + quoted + R"re(, "[^"]*", -?[0-9])re", "tonvale",
         20},
        {"src/core", ".cpp", R"re(\n    \{)re" + quoted + R"re(, "[^"]*", -?[0-9])re", "tonvale",
         8},
        {"src", ".cpp", R"re("([^"\n]*%dch[^"\n]*)")re", "tonvale", 5},
        {"src/measure", ".cpp", R"re(\{MeasureOutcome::\w+,\s*)re" + quoted, "tonvale", 8},
        {"src/chain", ".h", R"re(displayName = )re" + quoted, "tonvale_modname", 8},
        {"src/editor", "file_dialog.cpp", R"re(\n    \{)re" + quoted, "tonvale_gain", 10},
        {"src/editor", ".cpp", R"re(\{[A-Z_]+, )re" + quoted, "tonvale", 13},
        {"src/editor", ".cpp", R"re("([^"\n]*:)")re", "tonvale", 5},
    };
    for (const Place &place : places) {
        const auto texts = quotedTexts(source / place.folder, place.suffix, place.pattern);
        EXPECT_GE(texts.size(), place.atLeast) << place.pattern;
        for (const std::string &text : texts)
            EXPECT_TRUE(german.find(place.section, text) || german.find("tonvale_DLG_186", text))
                << text;
    }
}

} // namespace tonvale::workbench::test
