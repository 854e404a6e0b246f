#include "workbench/cli/commands/commands.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/warnings.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

constexpr void (*commands[])(CLI::App &) = {
    tonvale::workbench::addRenderCommand,     tonvale::workbench::addImpulseCommand,
    tonvale::workbench::addToneCommand,       tonvale::workbench::addDeconvolveCommand,
    tonvale::workbench::addAnalyseCommand,    tonvale::workbench::addStagesCommand,
    tonvale::workbench::addParametersCommand,
};

/// A stream that the caller closed would lend its number to the next file that is opened, and what
/// is printed would end up in that file. What is asked of it fails instead.
void openStandardStreams() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (fcntl(number, F_GETFD) < 0)
            static_cast<void>(open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

int complain(const char *text, int status) noexcept {
    tonvale::workbench::complain(text);
    return status;
}

std::string usageProblem(const CLI::App &program, const CLI::ParseError &error) {
    if (!program.get_subcommands().empty())
        return error.what();
    const auto words = program.remaining();
    return words.empty() ? "a command is missing" : "there is no command '" + words.front() + "'";
}

/// The words as CLI11 takes them, the last first: "help" and a command stand for its --help.
std::vector<std::string> reversedWords(const CLI::App &program, int argc, char **argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    const auto isOther = [](const std::string &word) { return word != "help"; };
    const auto other = std::find_if(words.begin(), words.end(), isOther);
    if (other != words.begin()) {
        words.erase(words.begin(), other);
        // Behind a word that is no command, the option would be the program's own.
        const auto isMeant = [&](const CLI::App *command) {
            return command->get_name() == words.front();
        };
        if (words.empty() || !program.get_subcommands(isMeant).empty())
            words.push_back("--help");
    }
    std::reverse(words.begin(), words.end());
    return words;
}

/// Does what the words say and answers the program's status. Throws what goes wrong with it.
int run(int argc, char **argv) {
    CLI::App program("Runs the Tonvale convolution reverb on sound files.", "tonvale");
    program.set_version_flag("--version", "tonvale " TONVALE_VERSION);
    program.set_help_flag("--help", "Print this help and exit");
    program.require_subcommand(1);
    program.footer(
        "tonvale help COMMAND, or tonvale COMMAND --help, lists the options of a command.");
    for (const auto add : commands)
        add(program);
    try {
        program.parse(reversedWords(program, argc, argv));
    } catch (const CLI::Success &wish) {
        program.exit(wish);
    } catch (const CLI::ParseError &error) {
        const std::string problem = usageProblem(program, error) + "; see tonvale --help";
        return complain(problem.c_str(), wrongUsage);
    }
    if (!std::cout.flush() || std::fflush(stdout) != 0)
        return complain("standard output can't be written", failed);
    return tonvale::workbench::statusAfterWarnings();
}

} // namespace

int main(int argc, char **argv) {
    openStandardStreams();
    try {
        return run(argc, argv);
    } catch (const tonvale::workbench::ToldProblem &) {
        return failed;
    } catch (const std::bad_alloc &) {
        return complain("not enough memory", failed);
    } catch (const std::exception &error) {
        return complain(error.what(), failed);
    }
}
