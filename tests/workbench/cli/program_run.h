#pragma once

#include "workbench/services/test_folder.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace tonvale::test {

using workbench::TestFolder;

/// Names of everything in a folder, sorted.
std::vector<std::string> namesIn(const TestFolder &folder);

struct ProgramResult {
    int status; ///< -1 when a signal ended it
    std::string output;
    std::string errors;
};

using Words = std::vector<std::string>;

Words operator+(Words words, const Words &more);

/// Runs `tonvale` with these words and waits for it.
ProgramResult runProgram(const Words &words);
/// The same; fails the running test unless all went well in silence. Answers the output.
std::string runWell(const Words &words);
/// Starts `tonvale` with its outputs thrown away.
pid_t startProgram(const Words &words);

} // namespace tonvale::test
