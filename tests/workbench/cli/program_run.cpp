#include "workbench/cli/program_run.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>

namespace tonvale::test {

namespace {

std::string contents(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

pid_t start(const Words &words, const std::string &output, const std::string &errors) {
    std::vector<const char *> arguments{TONVALE_PROGRAM};
    for (const std::string &word : words)
        arguments.push_back(word.c_str());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0)
        return child;
    dup2(open(output.c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
    dup2(open(errors.c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
    execv(TONVALE_PROGRAM, const_cast<char **>(arguments.data()));
    _exit(127);
}

} // namespace

std::vector<std::string> namesIn(const TestFolder &folder) {
    std::vector<std::string> found;
    for (const auto &entry : std::filesystem::directory_iterator(folder.path))
        found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
}

Words operator+(Words words, const Words &more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

ProgramResult runProgram(const Words &words) {
    const TestFolder folder;
    const pid_t child = start(words, folder.file("output"), folder.file("errors"));
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(folder.file("output")),
            contents(folder.file("errors"))};
}

std::string runWell(const Words &words) {
    const ProgramResult result = runProgram(words);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    return result.output;
}

pid_t startProgram(const Words &words) {
    return start(words, "/dev/null", "/dev/null");
}

} // namespace tonvale::test
