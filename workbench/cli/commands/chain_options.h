#pragma once

#include "workbench/cli/commands/stage_catalogue.h"
#include "workbench/cli/plugin_module.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// The options of a command that say which stages make the impulse response.
class ChainOptions {
  public:
    /// Adds --ir, --stage and --load-state. This must stay in its place while `command` parses.
    void addTo(CLI::App &command);

    /// Has two --ir files give the four responses of true stereo: the second's channels follow the
    /// first's. Before check().
    void placeForTrueStereo() { isTrueStereo = true; }

    /// Reads what the command line gave and checks it as far as that goes without the plug-in:
    /// texts, and whether the files are there. Throws Problem.
    void check();
    /// The file that the first active file loader reads; empty when there is none.
    const std::string &firstFile() const { return first; }
    /// Throws Problem when `output` is one of the files that the chain reads.
    void refuseOverwritingBy(const std::string &output) const;

    /// Gives the plug-in the saved state, if there is one.
    void loadState(Effect &effect);
    /// Appends the stages in the order of the command line, then those of `more`, and has the
    /// response made; warns of values that can't be meant and of files that are cut. Throws
    /// Problem for a stage that the plug-in can't make or a file that it can't read.
    void loadStages(Effect &effect, const std::vector<std::string> &more = {}) const;

  private:
    CLI::App *app = nullptr;
    CLI::Option *fileOption = nullptr;
    CLI::Option *stageOption = nullptr;
    std::optional<std::string> stateName;
    std::vector<char> state;
    std::vector<StageLine> lines;
    std::vector<std::string> files;
    std::string first;
    bool isTrueStereo = false;

    void readLines();
    void checkTrueStereo() const;
};

/// Prints the chain as the plug-in tells it, one line a stage, with "!" in front of a bypassed one.
void printChain(Effect &effect);

} // namespace tonvale::workbench
