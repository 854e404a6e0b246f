#include "workbench/window/options.h"

#include "workbench/window/problem.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace tonvale::workbench {

namespace {

using Words = std::vector<std::string>;

int readNumber(const std::string &option, const std::string &word) {
    int number = 0;
    const char *end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    if (error != std::errc() || stop != end || number < 1)
        throw WrongUsage(option + " takes a number from 1 on, not '" + word + "'");
    return number;
}

struct OptionRow {
    const char *name;
    void (*take)(WindowOptions &, const std::string &option, const std::string &word);
};

constexpr OptionRow rows[] = {
    {"--stage", [](WindowOptions &out, const std::string &,
                   const std::string &word) { out.stages.push_back(word); }},
    {"--load-state", [](WindowOptions &out, const std::string &,
                        const std::string &word) { out.stateFile = word; }},
    {"--language",
     [](WindowOptions &out, const std::string &, const std::string &word) { out.language = word; }},
    {"--show", [](WindowOptions &out, const std::string &option,
                  const std::string &word) { out.shownStage = readNumber(option, word); }},
    {"--press", [](WindowOptions &out, const std::string &option,
                   const std::string &word) { out.presses.push_back(readNumber(option, word)); }},
    {"--picture",
     [](WindowOptions &out, const std::string &, const std::string &word) { out.picture = word; }},
};

} // namespace

WindowOptions readOptions(const Words &words) {
    WindowOptions out;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (*word == "--help") {
            out.wantsHelp = true;
            return out;
        }
        const auto *row = std::find_if(std::begin(rows), std::end(rows),
                                       [&](const OptionRow &known) { return *word == known.name; });
        if (row == std::end(rows))
            throw WrongUsage("there is no option '" + *word + "'");
        if (word + 1 == words.end())
            throw WrongUsage(*word + " takes a value");
        row->take(out, *word, *(word + 1));
        ++word;
    }
    return out;
}

const char *optionsHelp() {
    return "Shows the editor of the plug-in that lies beside this program.\n"
           "\n"
           "Usage: tonvale-editor [OPTIONS]\n"
           "\n"
           "  --stage TEXT        Adds a stage by its one-line form; any number of times\n"
           "  --load-state FILE   Starts with a saved state\n"
           "  --language NAME     Translates by languages/NAME.txt, or by a file of that path\n"
           "  --show NUMBER       Shows this stage, from 1, and not the last one\n"
           "  --press ID          Presses the button of that number in the stage's dialog, or in\n"
           "                      the editor; any number of times\n"
           "  --picture FILE      Writes what is to be seen then as a PNG file, and ends\n"
           "  --help              Prints this help and exits\n";
}

} // namespace tonvale::workbench
