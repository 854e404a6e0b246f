#pragma once

#include "workbench/services/test_folder.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tonvale::test {

using workbench::contents;
using workbench::TestFolder;

/// Names of everything in a folder, sorted.
inline std::vector<std::string> namesIn(const TestFolder &folder) {
    std::vector<std::string> found;
    for (const auto &entry : std::filesystem::directory_iterator(folder.path))
        found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
}

using Words = std::vector<std::string>;

inline Words operator+(Words words, const Words &more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// Starts `tonvale` with these words, and with files for its outputs.
inline pid_t startProgram(Words words, const std::string &output = "/dev/null",
                          const std::string &errors = "/dev/null",
                          const std::string &program = TONVALE_PROGRAM) {
    words.insert(words.begin(), program);
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0)
        return child;
    dup2(open(output.c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
    dup2(open(errors.c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
    execv(program.c_str(), arguments.data());
    _exit(127);
}

struct ProgramResult {
    int status; ///< -1 when a signal ended it
    std::string output;
    std::string errors;
};

/// Runs it and waits for its end.
inline ProgramResult runProgram(const Words &words, const std::string &program = TONVALE_PROGRAM) {
    const TestFolder folder;
    const std::string output = folder.file("output"), errors = folder.file("errors");
    int status = 0;
    waitpid(startProgram(words, output, errors, program), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(output), contents(errors)};
}

/// The same; fails the running test unless all went well in silence. Answers the output.
inline std::string runWell(const Words &words) {
    const ProgramResult result = runProgram(words);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    return result.output;
}

/// Names that the commands read and write, in a folder of a test's own.
struct CommandTest : testing::Test {
    TestFolder folder;
    std::string in = folder.file("in.wav");
    std::string out = folder.file("out.wav");
    std::string response = folder.file("a room's.wav");
};

} // namespace tonvale::test
