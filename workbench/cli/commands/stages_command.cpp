#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/list_line.h"
#include "workbench/cli/commands/stage_catalogue.h"
#include "workbench/cli/plugin_module.h"

#include <cstdio>
#include <sstream>

namespace tonvale::workbench {

namespace {

constexpr double anyRate = 44100;

/// The values in the text form of a stage that was just made: its defaults.
std::vector<std::string> defaults(const std::string &text) {
    std::istringstream words(text);
    std::vector<std::string> values;
    std::string word;
    words >> word;
    while (words >> word)
        values.push_back(word);
    return values;
}

struct QuantityText {
    StageQuantity quantity;
    const char *text;
};

constexpr QuantityText quantityTexts[] = {
    {StageQuantity::level, "factor (1 is 0 dB), or dB"},
    {StageQuantity::time, "ms, or s"},
    {StageQuantity::frequency, "of half the sample rate, or Hz, kHz"},
};

const char *unitText(const StageValue &value) {
    for (const auto &[quantity, text] : quantityTexts) {
        if (quantity == value.quantity)
            return text;
    }
    return value.meaning;
}

void printStage(const StageKind &kind, const std::vector<std::string> &values) {
    std::printf("%-10s  %s\n", kind.key, kind.name);
    for (size_t i = 0; i < kind.values.size(); ++i) {
        const StageValue &value = kind.values[i];
        std::string line = "    " + std::string(value.name);
        appendAt(line, 24, i < values.size() ? values[i] : "");
        appendAt(line, 40, rangeText(value));
        appendAt(line, 56, unitText(value));
        std::printf("%s\n", line.c_str());
    }
    std::printf("\n");
}

void listStages() {
    Effect effect(anyRate);
    std::printf(
        "A stage's text is its key and then its values in this order, with blanks between. A unit\n"
        "stands directly behind its number, as in 'FILT 5kHz 100Hz'; a number alone counts what\n"
        "the list names first.\n"
        "\n"
        "KEY         NAME\n"
        "    VALUE               DEFAULT         RANGE           UNIT\n\n");
    for (const StageKind &kind : stageKinds()) {
        const int place = effect.stageCount();
        if (!effect.appendStage(kind.key))
            continue;
        printStage(kind, defaults(effect.stageText(place).value_or("")));
    }
}

} // namespace

void addStagesCommand(CLI::App &program) {
    program
        .add_subcommand("stages", "Lists the types of stages with their values, units, defaults "
                                  "and ranges")
        ->callback(listStages);
}

} // namespace tonvale::workbench
