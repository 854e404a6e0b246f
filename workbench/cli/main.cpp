#include "workbench/cli/commands/commands.h"
#include "workbench/cli/problem.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

constexpr void (*commands[])(CLI::App &) = {
    tonvale::workbench::addRenderCommand, tonvale::workbench::addImpulseCommand,
    tonvale::workbench::addToneCommand,   tonvale::workbench::addDeconvolveCommand,
    tonvale::workbench::addStagesCommand, tonvale::workbench::addParametersCommand,
};

/// A stream that the caller closed would lend its number to the next file that is opened, and what
/// is printed would end up in that file.
void openStandardStreams() {
    int number = 0;
    do
        number = open("/dev/null", O_RDWR);
    while (number >= 0 && number <= STDERR_FILENO);
    if (number >= 0)
        close(number);
}

int complain(std::string text, int status) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::fflush(stdout);
    std::fprintf(stderr, "tonvale: %s\n", text.c_str());
    return status;
}

std::string usageProblem(const CLI::App &program, const CLI::ParseError &error) {
    if (!program.get_subcommands().empty())
        return error.what();
    const auto words = program.remaining();
    return words.empty() ? "a command is missing" : "there is no command '" + words.front() + "'";
}

} // namespace

int main(int argc, char **argv) {
    openStandardStreams();
    CLI::App program("Runs the Tonvale convolution reverb on sound files.", "tonvale");
    program.set_version_flag("--version", "tonvale " TONVALE_VERSION);
    program.set_help_flag("--help", "Print this help and exit");
    program.require_subcommand(1);
    for (const auto add : commands)
        add(program);

    try {
        program.parse(argc, argv);
        if (std::fflush(stdout) != 0)
            return complain("standard output can't be written", failed);
        return 0;
    } catch (const CLI::Success &wish) {
        return program.exit(wish);
    } catch (const CLI::ParseError &error) {
        return complain(usageProblem(program, error) + "; see tonvale --help", wrongUsage);
    } catch (const std::bad_alloc &) {
        return complain("not enough memory", failed);
    } catch (const std::exception &error) {
        return complain(error.what(), failed);
    }
}
