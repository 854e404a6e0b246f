#include "text/directory_scan.h"

#include "tests/workbench/services/test_folder.h"
#include "text/file_path.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>

namespace tonvale {
namespace {

using Entries = std::map<std::string, bool>; ///< whether it is a folder, by name

/// What an editor is after: not the folder itself, nor the one above.
Entries scanned(const std::string &folder) {
    Entries entries;
    DirectoryScan scan;
    for (int end = scan.first(folder); !end; end = scan.next()) {
        if (!scan.name().starts_with('.'))
            entries[scan.name()] = scan.isDirectory();
    }
    return entries;
}

TEST(DirectoryScan, NamesAllEntriesOfAFolderHoweverItIsWritten) {
    const workbench::TestFolder folder;
    const Entries expected = {{"Ωμέγα.wav", false}, {"日本語.flac", false}, {"große Halle", true}};
    // Beyond the length from which Windows wants a prefix.
    const std::string deep = folder.file(std::string(100, 'a') + "/β" + std::string(98, 'b') + "/" +
                                         std::string(100, 'c'));
    std::filesystem::create_directories(filePath(deep));
    for (const std::string &place : {folder.file("日本"), deep}) {
        std::filesystem::create_directory(filePath(place));
        for (const auto &[name, isFolder] : expected) {
            if (isFolder)
                std::filesystem::create_directory(filePath(place + "/" + name));
            else
                std::ofstream(filePath(place + "/" + name)) << "x";
        }
        EXPECT_EQ(scanned(place), expected);
        EXPECT_EQ(scanned(place + "/"), expected);
    }
}

TEST(DirectoryScan, FindsNothingWhereThereIsNoFolder) {
    const workbench::TestFolder folder;
    DirectoryScan scan;
    for (const std::string &none : {std::string(), folder.file("none"), folder.file("\xff")})
        EXPECT_NE(scan.first(none), 0) << none;
    EXPECT_NE(scan.next(), 0);
    EXPECT_EQ(scanned(folder.file("")), Entries());
}

} // namespace
} // namespace tonvale
