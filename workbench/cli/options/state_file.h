#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// Whether each stage of a state is bypassed, in chain order; nothing when the bytes can't be a
/// state of the plug-in, of its present or an older form.
std::optional<std::vector<bool>> bypassedStages(const std::vector<char> &state);

/// Appends a file loader to a state of the plug-in's present form.
void appendFileStage(std::vector<char> &state, const std::string &path, int flags, bool bypassed);

/// Reads a file that --save-state or another host wrote. Throws Problem when it can't be read or
/// can't be a state.
std::vector<char> readStateFile(const std::string &path);

} // namespace tonvale::workbench
