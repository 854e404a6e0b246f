#include "workbench/cli/options/chain_warnings.h"

#include "workbench/cli/options/stage_catalogue.h"
#include "workbench/cli/sound/impulse_response.h"
#include "workbench/cli/warnings.h"

#include <cstdio>
#include <sstream>

namespace tonvale::workbench {

namespace {

/// What a file loader reads of a file at most, in samples of the run.
constexpr double mostFileFrames = 3145728;

/// A source tells its length in seconds, which mustn't make a sample more than there are.
constexpr double sampleFraction = 0.5;

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", value);
    return text;
}

} // namespace

void warnOfStage(const std::string &text) {
    std::istringstream words(text);
    std::string key, word;
    words >> key;
    const StageKind *kind = findStageKind(key);
    if (!kind || kind->values.front().quantity == StageQuantity::text)
        return;
    for (const StageValue &value : kind->values) {
        if (!(words >> word))
            return;
        const double present = std::strtod(word.c_str(), nullptr);
        if (present >= value.least && present <= value.most)
            continue;
        const bool isLevel = value.quantity == StageQuantity::level;
        std::string fault = " is beyond " + rangeText(value);
        if (isLevel)
            fault = present > value.most ? " is above +12 dB" : " is beyond: a negative factor";
        std::string said = "stage " + key + ": " + value.name;
        said += " " + shortNumber(present) + fault;
        warn(said);
    }
}

void warnOfCutFile(const std::string &path, MediaSource &file, double rate) {
    if (file.GetLength() * rate < mostFileFrames + sampleFraction)
        return;
    char at[64];
    std::snprintf(at, sizeof at, "%.1f s, the longest that the plug-in takes",
                  mostFileFrames / rate);
    warn(path + " is cut at " + at);
}

bool warnOfEmptyChain(Effect &effect) {
    if (effect.stageCount() == 0 || !responseIsEmpty(effect))
        return false;
    warn("the response is empty: the chain comes out without samples");
    return true;
}

} // namespace tonvale::workbench
