#include "workbench/cli/program_run.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace tonvale::test {

namespace fs = std::filesystem;

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
    const int out = open(output.c_str(), O_CREAT | O_WRONLY, 0600);
    const int err = open(errors.c_str(), O_CREAT | O_WRONLY, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    execv(TONVALE_PROGRAM, const_cast<char **>(arguments.data()));
    _exit(127);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "tonvale-cli-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder");
    path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code error;
    fs::remove_all(path, error);
}

std::vector<std::string> TemporaryFolder::names() const {
    std::vector<std::string> found;
    for (const auto &entry : fs::directory_iterator(path))
        found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
}

ProgramResult runProgram(const Words &words) {
    const TemporaryFolder folder;
    const pid_t child = start(words, folder / "output", folder / "errors");
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(folder / "output"),
            contents(folder / "errors")};
}

pid_t startProgram(const Words &words) {
    return start(words, "/dev/null", "/dev/null");
}

} // namespace tonvale::test
