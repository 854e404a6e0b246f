#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tonvale::workbench {

/// One value of a stage's text form, for a reader of a table.
struct StageValue {
    const char *name;
    const char *unit;
    const char *range; ///< that of its fader; a text form takes any number
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

/// What a line of the text form says.
struct StageLine {
    const StageKind *kind;
    bool bypassed;    ///< by a "!" in front
    std::string path; ///< of a file loader
};

/// Reads a line as a user gives it: the key alone stands for the stage's defaults, else every value
/// must be there and be a number. Throws Problem with what is wrong.
StageLine readStageLine(const std::string &line);

/// The line of a file loader with its usual settings, whose first channel becomes response channel
/// `firstChannel`, from 0. Throws Problem for a path that the text form can't hold.
std::string fileStageLine(const std::string &path, int firstChannel = 0);

} // namespace tonvale::workbench
