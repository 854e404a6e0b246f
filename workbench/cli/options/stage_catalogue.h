#pragma once

#include "workbench/cli/options/stage_units.h"

#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tonvale::workbench {

/// One value of a stage's text form. The range is that of its fader; a text form takes any number.
struct StageValue {
    const char *name;
    StageQuantity quantity;
    const char *meaning; ///< of a number that its quantity doesn't explain
    double least = -std::numeric_limits<double>::infinity();
    double most = std::numeric_limits<double>::infinity();
};

struct StageKind {
    const char *key;
    const char *name;
    std::span<const StageValue> values; ///< in the order of the text form
};

/// All that this program knows of; whether the module can make one is asked of the module.
std::span<const StageKind> stageKinds();

/// Null for an unknown key.
const StageKind *findStageKind(std::string_view key);

/// The range for a reader, as "30 to 98"; empty where there is none.
std::string rangeText(const StageValue &value);

/// Of a file loader.
struct StageFile {
    std::string path;
    int flags;

    /// Whether the path can stand in a line for the plug-in, whose quotes end at the next one.
    bool hasLine() const;
};

/// What a line of the text form says.
struct StageLine {
    const StageKind *kind;
    bool bypassed; ///< by a "!" in front
    /// All of the stage's, or none for its defaults.
    std::vector<StageNumber> numbers{};
    std::optional<StageFile> file{};
};

/// Reads a line as a user gives it: the key alone stands for the stage's defaults, else every value
/// must be there and be a number, behind which a unit can stand. A path goes to the line's last
/// quote of the kind that it begins with. Throws Problem with what is wrong.
StageLine readStageLine(const std::string &line);

/// A file loader with its usual settings, whose first channel becomes response channel
/// `firstChannel`, from 0.
StageLine fileStage(const std::string &path, int firstChannel = 0);

/// The line for a plug-in that runs at `rate` Hz: plain numbers alone.
std::string plainLine(const StageLine &line, double rate);

} // namespace tonvale::workbench
